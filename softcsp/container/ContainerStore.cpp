#include "softcsp/container/ContainerStore.h"

#include <winscard.h>

#include <algorithm>

#include "softcsp/common/ApplicationData.h"
#include "softcsp/common/FileHandle.h"
#include "softcsp/common/Files.h"
#include "softcsp/common/TextSum.h"

namespace softcsp {
namespace {

constexpr wchar_t kExtension[] = L".key";
constexpr wchar_t kUnfinished[] = L".new";
constexpr std::wstring_view kQualified = L"\\\\.\\";

constexpr DWORD Code(HRESULT result) {
    return static_cast<DWORD>(result);
}

struct NameParts {
    std::wstring_view carrier;  // empty: none named
    std::wstring_view name;
};

// False for what is no name.
bool Split(std::wstring_view text, NameParts& parts) {
    const bool qualified = text.starts_with(kQualified);
    if (qualified) text.remove_prefix(kQualified.size());
    const std::size_t backslash = text.find(L'\\');
    const bool named = backslash != std::wstring_view::npos;
    parts.carrier = named ? text.substr(0, backslash) : std::wstring_view();
    parts.name = named ? text.substr(backslash + 1) : text;
    return !parts.name.empty() && parts.name.size() <= kLongestContainerName &&
           parts.name.find(L'\\') == std::wstring_view::npos && named != parts.carrier.empty() && (named || !qualified);
}

bool SameText(std::wstring_view left, std::wstring_view right) {
    return LowerCase(left) == LowerCase(right);
}

// Whether the carrier is there now, not when it was looked up.
DWORD CheckPresence(const Carrier& carrier) {
    for (const Carrier& now : Carriers())
        if (now.name == carrier.name && now.present) return ERROR_SUCCESS;
    return Code(SCARD_W_REMOVED_CARD);
}

DWORD ReadLocked(const std::wstring& file, Bytes& bytes) {
    const FileLock lock(file);
    return lock.Result() ? lock.Result() : ReadFileWhole(file, bytes);
}

// Nothing for a folder that isn't known.
template <class Visitor>
void EachFile(const std::wstring& folder, Visitor&& visit) {
    if (folder.empty()) return;
    WIN32_FIND_DATAW found;
    const FindHandle search(FindFirstFileW((folder + L'*' + kExtension).c_str(), &found));
    if (!search) return;
    do visit(found);
    while (FindNextFileW(search.Get(), &found));
}

}  // namespace

DWORD ContainerStore::PlaceForNew(std::wstring_view text, ContainerPlace& place, bool& carrierNamed) const {
    NameParts parts;
    if (!Split(text, parts)) return Code(NTE_BAD_KEYSET_PARAM);
    ContainerPlace found;
    found.name = parts.name;
    if (!parts.carrier.empty()) {
        const auto carriers = Carriers();
        const auto carrier = std::find_if(carriers.begin(), carriers.end(),
                                          [&](const Carrier& one) { return SameText(one.name, parts.carrier); });
        if (carrier == carriers.end()) return Code(NTE_KEYSET_NOT_DEF);
        if (!carrier->present) return Code(SCARD_W_REMOVED_CARD);
        found.carrier = *carrier;
    }
    carrierNamed = !parts.carrier.empty();
    place = std::move(found);
    return ERROR_SUCCESS;
}

DWORD ContainerStore::Find(std::wstring_view text, ContainerPlace& place) const {
    ContainerPlace found;
    bool named = false;
    const DWORD result = PlaceForNew(text, found, named);
    if (result == Code(NTE_KEYSET_NOT_DEF)) return Code(NTE_BAD_KEYSET);
    if (result != ERROR_SUCCESS) return result;
    const std::vector<Carrier> carriers = named ? std::vector{found.carrier} : Carriers();
    for (const Carrier& carrier : carriers) {
        if (!carrier.present) continue;
        found.carrier = carrier;
        if (GetFileAttributesW(FileOf(found).c_str()) == INVALID_FILE_ATTRIBUTES) continue;
        place = found;
        return ERROR_SUCCESS;
    }
    return Code(NTE_BAD_KEYSET);
}

DWORD ContainerStore::LoadBytes(const ContainerPlace& place, Bytes& bytes) const {
    if (const DWORD result = CheckPresence(place.carrier)) return result;
    const DWORD result = ReadLocked(FileOf(place), bytes);
    const bool gone = result == ERROR_FILE_NOT_FOUND || result == ERROR_PATH_NOT_FOUND;
    return gone ? Code(NTE_BAD_KEYSET) : result;
}

DWORD ContainerStore::Load(const ContainerPlace& place, Container& container) const {
    Bytes bytes;
    if (const DWORD result = LoadBytes(place, bytes)) return result;
    auto read = ReadContainer(bytes);
    if (!read) return Code(NTE_KEYSET_ENTRY_BAD);
    if (!SameText(read->name, place.name)) return Code(NTE_BAD_KEYSET);
    container = std::move(*read);
    return ERROR_SUCCESS;
}

DWORD ContainerStore::Create(const ContainerPlace& place, const Container& container) const {
    return Write(place, container, false);
}

DWORD ContainerStore::Save(const ContainerPlace& place, const Container& container) const {
    return Write(place, container, true);
}

DWORD ContainerStore::SaveBytes(const ContainerPlace& place, ByteView bytes) const {
    return WriteBytes(place, bytes, true);
}

DWORD ContainerStore::Remove(const ContainerPlace& place) const {
    if (const DWORD result = CheckPresence(place.carrier)) return result;
    const std::wstring file = FileOf(place);
    if (file.empty()) return ERROR_PATH_NOT_FOUND;
    const FileLock lock(file);
    if (const DWORD result = lock.Result()) return result;
    DeleteFileW((file + kUnfinished).c_str());  // what a killed process has left
    if (DeleteFileW(file.c_str())) return ERROR_SUCCESS;
    const DWORD result = GetLastError();
    return result == ERROR_FILE_NOT_FOUND ? Code(NTE_BAD_KEYSET) : result;
}

std::vector<ContainerPlace> ContainerStore::List() const {
    std::vector<ContainerPlace> places;
    for (const Carrier& carrier : Carriers()) {
        if (!carrier.present) continue;
        const auto first = static_cast<std::ptrdiff_t>(places.size());
        const std::wstring folder = ContainerFolder(carrier, owner_, type_);
        EachFile(folder, [&](const WIN32_FIND_DATAW& found) {
            Bytes bytes;
            if (ReadLocked(folder + found.cFileName, bytes) != ERROR_SUCCESS) return;
            const auto container = ReadContainer(bytes);
            if (container && TextSum(container->name) + kExtension == LowerCase(found.cFileName))
                places.push_back({carrier, container->name});
        });
        std::sort(places.begin() + first, places.end(), [](const ContainerPlace& left, const ContainerPlace& right) {
            return LowerCase(left.name) < LowerCase(right.name);
        });
    }
    return places;
}

// Names hold what file names can't and are longer than those, so the file is named by their sum; the container's own
// name is in it. Of two names with the same sum the second can't be made.
std::wstring ContainerStore::FileOf(const ContainerPlace& place) const {
    const std::wstring folder = ContainerFolder(place.carrier, owner_, type_);
    return folder.empty() ? folder : folder + TextSum(place.name) + kExtension;
}

bool ContainerStore::HasRoom(const Carrier& carrier, const std::wstring& file, std::size_t size) const {
    if (carrier.room == MAXDWORD) return true;
    ULONGLONG taken = size;
    for (const Owner owner : {Owner::User, Owner::Computer})
        for (const DWORD type : {71UL, 75UL}) {
            const std::wstring folder = ContainerFolder(carrier, owner, type);
            EachFile(folder, [&](const WIN32_FIND_DATAW& found) {
                if (folder + found.cFileName != file) taken += found.nFileSizeLow;
            });
        }
    return taken <= carrier.room;
}

DWORD ContainerStore::Write(const ContainerPlace& place, const Container& container, bool replace) const {
    if (container.extensions.size() > kMostExtensions) return ERROR_DISK_FULL;
    const Bytes bytes = WriteContainer(container);
    return bytes.empty() ? Code(NTE_FAIL) : WriteBytes(place, bytes, replace);
}

DWORD ContainerStore::WriteBytes(const ContainerPlace& place, ByteView bytes, bool replace) const {
    if (const DWORD result = CheckPresence(place.carrier)) return result;
    const std::wstring file = FileOf(place);
    if (file.empty()) return ERROR_PATH_NOT_FOUND;
    const FileLock lock(file);
    if (const DWORD result = lock.Result()) return result;
    if (!replace && GetFileAttributesW(file.c_str()) != INVALID_FILE_ATTRIBUTES) return Code(NTE_EXISTS);
    if (bytes.size() > kLargestFile) return ERROR_DISK_FULL;
    if (!HasRoom(place.carrier, file, bytes.size())) return ERROR_DISK_FULL;
    MakeFolderOf(file);
    const std::wstring unfinished = file + kUnfinished;
    if (const DWORD result = WriteFileWhole(unfinished, bytes)) {
        if (result != ERROR_SHARING_VIOLATION) DeleteFileW(unfinished.c_str());
        return result;
    }
    if (MoveFileExW(unfinished.c_str(), file.c_str(),
                    MOVEFILE_WRITE_THROUGH | (replace ? DWORD{MOVEFILE_REPLACE_EXISTING} : 0)))
        return ERROR_SUCCESS;
    const DWORD result = GetLastError();
    DeleteFileW(unfinished.c_str());
    return result == ERROR_ALREADY_EXISTS || result == ERROR_FILE_EXISTS ? Code(NTE_EXISTS) : result;
}

}  // namespace softcsp
