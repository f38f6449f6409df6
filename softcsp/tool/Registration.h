// "init": makes the software provider the machine's provider.
#pragma once

namespace softcsp {

// Registers the libraries beside the tool as the providers of their types and defaults for the machine, tells the
// panel where they lie and the system what their algorithms are, writes the installer's data and the store's first
// content. With `reset` the store, the denied paths, the settings and whatever was added to the registration go
// first. Throws Failure.
void Register(bool reset);

}  // namespace softcsp
