// The application's display name: what its windows and message boxes are captioned with.
#pragma once

#include <string>

// The name as last updated; before any update the string table's own title.
std::wstring DisplayName();

// Sets the name to the product's, as this module's version resource has it, or to the string table's title.
void UpdateDisplayName();
