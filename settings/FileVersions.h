// The list of file versions: which files are in it, what is told of each, its orders, its text.
#pragma once

#include <windows.h>

#include <span>
#include <string>
#include <vector>

#include "framework/SystemLibrary.h"

struct FileVersion {
    std::wstring name, version, type, path;
};

enum class VersionColumn { Name, Version, Type, Path };

// The paths to list: the system's modules that matter to the provider, each from the system directory and from the one
// of 32-bit programs; then the modules that the product's installer registered, as it did. They need not exist.
std::vector<std::wstring> ListedFiles();

// A file's type by the machine and the characteristics in its headers: the machine where it is one of those that
// Windows runs on, else "32 bit" or "64 bit".
const wchar_t* ImageType(WORD machine, WORD characteristics) noexcept;

// Orders two files by a column, and by the others where that is equal; negative: `left` goes first. Texts are compared
// without regard to case, versions too: "10.0" stands before "5.1".
int CompareFileVersions(const FileVersion& left, const FileVersion& right, VersionColumn by, bool descending) noexcept;

// The list as text, a line a file.
std::wstring FileVersionsText(std::span<const FileVersion* const> files);

// Reads what the list of file versions tells of a file.

class FileVersionsReader {
  public:
    // A file that can't be opened has only its path, and the type of those whose headers nobody could read.
    FileVersion Read(const std::wstring& path) const;

  private:
    std::wstring VersionOf(const std::wstring& path) const;
    std::wstring TypeOf(HANDLE file, const std::wstring& path) const;

    SystemLibrary versions_{L"version.dll"}, images_{L"imagehlp.dll"};
};

// What there is to tell of the files, in their order; those of which there is nothing are left out.
std::vector<FileVersion> ReadFileVersions(std::span<const std::wstring> paths);
