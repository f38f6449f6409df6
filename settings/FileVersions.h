// The list of file versions: the files in it, each file's properties, the orders of the list, the list as text.
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

// The paths to list: the system's modules that matter to the provider, each from the system directory and from that of
// 32-bit programs; then the modules that the product's installer registered, in its order. They need not exist.
std::vector<std::wstring> ListedFiles();

// A file's type from the machine and the characteristics in its headers: the machine if Windows runs on it, else
// "32 bit" or "64 bit".
const wchar_t* ImageType(WORD machine, WORD characteristics) noexcept;

// Compares two files by a column, and by the other columns if it is equal; negative: `left` comes first. All columns
// are compared as texts without regard to case, versions too: "10.0" comes before "5.1".
int CompareFileVersions(const FileVersion& left, const FileVersion& right, VersionColumn by, bool descending) noexcept;

// The list as text, one line for each file.
std::wstring FileVersionsText(std::span<const FileVersion* const> files);

// Reads the properties of single files.
class FileVersionsReader {
  public:
    // A file that cannot be opened has only its path, and the type of a file with unreadable headers.
    FileVersion Read(const std::wstring& path) const;

  private:
    std::wstring VersionOf(const std::wstring& path) const;
    std::wstring TypeOf(HANDLE file, const std::wstring& path) const;

    SystemLibrary versions_{L"version.dll"}, images_{L"imagehlp.dll"};
};

// The properties of the files, in their order; empty paths are left out.
std::vector<FileVersion> ReadFileVersions(std::span<const std::wstring> paths);
