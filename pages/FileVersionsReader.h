// Reads what the list of file versions tells of a file.
#pragma once

#include "framework/SystemLibrary.h"
#include "pages/FileVersions.h"

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
