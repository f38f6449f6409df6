// Replaces functions that the running program imports, or looks up by their names.
#pragma once

// Replaces an imported function for the life of the patch.
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

// Replaces a function that the running program's own code looks up by its name, for the life of the object.
class LibraryFunction {
  public:
    // Gets the name and what was found under it, and returns what takes its place.
    using Replace = std::function<void*(std::string_view name, void* found)>;
    explicit LibraryFunction(Replace replace) : replace_(std::move(replace)) {
        Patch();
        objects_.push_back(this);
    }
    // `replacement` nullptr: as if the library lacked the function.
    template <class Function>
    LibraryFunction(std::string_view name, Function* replacement)
        : LibraryFunction([=](std::string_view wanted, void* found) {
              return wanted == name ? reinterpret_cast<void*>(replacement) : found;
          }) {}
    LibraryFunction(std::string_view name, std::nullptr_t) : LibraryFunction(name, static_cast<void*>(nullptr)) {}
    // A lambda may capture. Of objects made from the same lambda expression, the newest one is called for all.
    template <class Lambda>
    LibraryFunction(std::string_view name, Lambda lambda)
        : LibraryFunction(name, PointerTo<Lambda>(std::function(std::move(lambda)))) {}
    ~LibraryFunction() { std::erase(objects_, this); }
    LibraryFunction(LibraryFunction&&) = delete;

  private:
    template <class Lambda, class Result, class... Arguments>
    static auto PointerTo(std::function<Result(Arguments...)> called) {
        static std::function<Result(Arguments...)> current;
        current = std::move(called);
        return +[](Arguments... arguments) -> Result { return current(arguments...); };
    }
    static const ImportPatch& Patch() {
        static const ImportPatch patch("GetProcAddress", &Look);
        return patch;
    }
    static FARPROC WINAPI Look(HMODULE module, LPCSTR name) {
        void* found = reinterpret_cast<void*>(Patch().Original<decltype(Look)>()(module, name));
        if (!IS_INTRESOURCE(name))
            for (const LibraryFunction* object : objects_) found = object->replace_(name, found);
        if (!found) SetLastError(ERROR_PROC_NOT_FOUND);
        return reinterpret_cast<FARPROC>(found);
    }

    static inline std::vector<const LibraryFunction*> objects_;
    const Replace replace_;
};
