// Ids of the texts that the framework itself shows. They stand in the string table of the module it is linked into.
#pragma once

namespace FrameworkText {

enum Id : unsigned {
    kEnterInteger = 61712,         // no insert
    kEnterIntegerBetween = 61714,  // %1 least, %2 most
    kEnterShorterText = 61716,     // %1 most characters
    kEnterUnsigned = 61719,        // no insert
};

}  // namespace FrameworkText
