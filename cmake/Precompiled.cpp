// The unit of the precompiled header.
