// Replaces a function that the running program imports, for the life of the patch.
#pragma once

class ImportPatch {
  public:
    // `function` is its exported name, from whichever library. The test fails when it is not imported: it would test
    // something else.
    template <class Function>
    ImportPatch(const char* function, Function* replacement)
        : slot_(FindSlot(function)), original_(slot_ ? *slot_ : nullptr) {
        EXPECT_TRUE(slot_) << function << " is not imported, so its replacement would never be called";
        Write(reinterpret_cast<void*>(replacement));
    }
    ~ImportPatch() { Write(original_); }
    ImportPatch(ImportPatch&&) = delete;

    static bool IsImported(std::string_view function) { return FindSlot(function) != nullptr; }

    // The function that was there before.
    template <class Function>
    Function* Original() const noexcept {
        return reinterpret_cast<Function*>(original_);
    }

  private:
    static void** FindSlot(std::string_view function) {
        auto* const image = reinterpret_cast<BYTE*>(GetModuleHandleW(nullptr));
        const auto* headers =
            reinterpret_cast<IMAGE_NT_HEADERS*>(image + reinterpret_cast<IMAGE_DOS_HEADER*>(image)->e_lfanew);
        const auto& directory = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
        auto* library = reinterpret_cast<IMAGE_IMPORT_DESCRIPTOR*>(image + directory.VirtualAddress);
        for (; directory.VirtualAddress && library->Name; ++library) {
            const auto* names = reinterpret_cast<IMAGE_THUNK_DATA*>(image + library->OriginalFirstThunk);
            auto* slots = reinterpret_cast<IMAGE_THUNK_DATA*>(image + library->FirstThunk);
            for (; names->u1.AddressOfData; ++names, ++slots) {
                if (IMAGE_SNAP_BY_ORDINAL(names->u1.Ordinal)) continue;
                const auto* import = reinterpret_cast<IMAGE_IMPORT_BY_NAME*>(image + names->u1.AddressOfData);
                if (function == reinterpret_cast<const char*>(import->Name))
                    return reinterpret_cast<void**>(&slots->u1.Function);
            }
        }
        return nullptr;
    }
    void Write(void* value) const {
        DWORD protection = 0;
        if (!slot_ || !VirtualProtect(slot_, sizeof *slot_, PAGE_READWRITE, &protection)) return;
        *slot_ = value;
        VirtualProtect(slot_, sizeof *slot_, protection, &protection);
    }

    void** const slot_;
    void* const original_;
};
