// The key readers that are present now, as the support and reader libraries find them.
#pragma once

#include <string>
#include <vector>

struct KeyReader {
    std::wstring name;        // as shown to the user
    std::wstring storedName;  // identifies the reader in settings
};

// Appends the readers that have a name to show, or none if a library cannot be loaded. False when a reader does not
// identify itself; the listing ends there and is incomplete.
bool ListKeyReaders(std::vector<KeyReader>& readers);
