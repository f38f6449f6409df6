#include "tests/support/ImportPatch.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

template <class Type>
Type* At(HMODULE module, DWORD offset) {
    return reinterpret_cast<Type*>(reinterpret_cast<BYTE*>(module) + offset);
}

void** FindSlot(HMODULE module, const char* function) {
    if (!module) module = GetModuleHandleW(nullptr);
    const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(module);
    const auto* headers = At<const IMAGE_NT_HEADERS>(module, static_cast<DWORD>(dos->e_lfanew));
    const IMAGE_DATA_DIRECTORY& directory = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    if (directory.VirtualAddress == 0) return nullptr;
    for (auto* library = At<IMAGE_IMPORT_DESCRIPTOR>(module, directory.VirtualAddress); library->Name; ++library) {
        const auto* names = At<const IMAGE_THUNK_DATA>(module, library->OriginalFirstThunk);
        auto* slots = At<IMAGE_THUNK_DATA>(module, library->FirstThunk);
        for (; names->u1.AddressOfData; ++names, ++slots) {
            if (IMAGE_SNAP_BY_ORDINAL(names->u1.Ordinal)) continue;
            const auto* import = At<const IMAGE_IMPORT_BY_NAME>(module, static_cast<DWORD>(names->u1.AddressOfData));
            if (std::strcmp(reinterpret_cast<const char*>(import->Name), function) == 0)
                return reinterpret_cast<void**>(&slots->u1.Function);
        }
    }
    return nullptr;
}

void Write(void** slot, void* value) {
    DWORD protection = 0;
    VirtualProtect(slot, sizeof *slot, PAGE_READWRITE, &protection);
    *slot = value;
    VirtualProtect(slot, sizeof *slot, protection, &protection);
}

}  // namespace

bool ImportPatch::IsImported(HMODULE module, const char* function) {
    return FindSlot(module, function) != nullptr;
}

ImportPatch::ImportPatch(HMODULE module, const char* function, void* replacement, int)
    : slot_(FindSlot(module, function)) {
    if (!slot_) {
        ADD_FAILURE() << function << " is not imported, so its replacement would never be called";
        return;
    }
    original_ = *slot_;
    Write(slot_, replacement);
}

ImportPatch::~ImportPatch() {
    if (slot_) Write(slot_, original_);
}
