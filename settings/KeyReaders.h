// The key readers that are there now, as the support and reader libraries find them.
#pragma once

#include <string>
#include <vector>

struct KeyReader {
    std::wstring name;        // as shown to the user
    std::wstring storedName;  // as settings name it
};

// Appends the readers, those without a name to show left out; none when the libraries can't be had. False when one
// doesn't say which reader it is: the listing ends there.
bool ListKeyReaders(std::vector<KeyReader>& readers);
