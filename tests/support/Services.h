// What the tests of the shared services have in common.
#pragma once

#include "applet/services/Strings.h"
#include "applet/services/SupportLibrary.h"
#include "resources/resource.h"
#include "tests/support/ImportPatch.h"
#include "tests/support/Store.h"

// The user's language for the product while the object lives.
class SpokenLanguage {
  public:
    explicit SpokenLanguage(LANGID language) : stored_(L"\\local\\Language", language) { UpdatedUserLanguage(); }
    void Set(LANGID language) const {
        stored_.Set(language);
        UpdatedUserLanguage();
    }

  private:
    StoredNumber stored_;
};

// No library has any function while the object lives, which is to the services as if the support library were missing.
struct NoSupport {
    const LibraryFunction none{[](std::string_view, void*) -> void* { return nullptr; }};
};
