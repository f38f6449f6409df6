// The certificates in the value of a container's extension.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include <span>
#include <vector>

#include "csp/ExtensionRecord.h"
#include "csp/Outcome.h"

// The value decoded by the decoder that is registered for the extension's identifier.
BytesOutcome DecodeExtension(const ExtensionRecord& record);

// The blobs of a decoded sequence, whole certificates as a rule; they lie in `decoded`. The record's identifier chose
// the decoder, and it may have made something else altogether, so nothing is taken that doesn't lie in there: such a
// blob is empty.
std::vector<std::span<const BYTE>> SequenceBlobs(std::span<const BYTE> decoded);
