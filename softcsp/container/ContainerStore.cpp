#include "softcsp/container/ContainerStore.h"

#include <winscard.h>

#include <algorithm>

#include "softcsp/common/Names.h"
#include "softcsp/common/Text.h"
#include "softcsp/container/ContainerProtection.h"

namespace softcsp {
namespace {

constexpr wchar_t kExtension[] = L".key";
constexpr std::wstring_view kQualified = L"\\\\.\\";

constexpr DWORD Code(HRESULT result) {
    return static_cast<DWORD>(result);
}

// False for a text that is not a name. No carrier is named by an empty text.
bool Split(std::wstring_view text, std::wstring_view& carrier, std::wstring_view& name) {
    const bool qualified = text.starts_with(kQualified);
    if (qualified) text.remove_prefix(kQualified.size());
    const std::size_t backslash = text.find(L'\\');
    const bool named = backslash != text.npos;
    carrier = named ? text.substr(0, backslash) : std::wstring_view();
    name = named ? text.substr(backslash + 1) : text;
    return !name.empty() && name.size() <= kLongestContainerName && name.find(L'\\') == name.npos &&
           named != carrier.empty() && (named || !qualified);
}

DWORD FindPlace(std::wstring_view text, ContainerPlace& place) {
    std::wstring_view carrier, name;
    if (!Split(text, carrier, name)) return Code(NTE_BAD_KEYSET_PARAM);
    place.name = name;
    return carrier.empty() ? ERROR_SUCCESS : FindCarrier(carrier, place.carrier);
}

// The carrier may have been ejected since it was looked up.
DWORD CheckPresence(const Carrier& carrier) {
    Carrier now;
    return FindCarrier(carrier.name, now) == ERROR_SUCCESS ? ERROR_SUCCESS : Code(SCARD_W_REMOVED_CARD);
}

template <class Visitor>
void EachFile(const std::wstring& folder, Visitor&& visit) {
    if (folder.empty()) return;
    WIN32_FIND_DATAW found;
    const FindHandle search(FindFirstFileW((folder + L'*' + kExtension).c_str(), &found));
    if (!search) return;
    do visit(found);
    while (FindNextFileW(search.get(), &found));
}

DWORD MissingIsBadKeyset(DWORD error) {
    return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND ? Code(NTE_BAD_KEYSET) : error;
}

}  // namespace

DWORD FindCarrier(std::wstring_view name, Carrier& carrier) {
    for (const Carrier& known : Carriers()) {
        if (!SameText(known.name, name)) continue;
        if (!known.present) return Code(SCARD_W_REMOVED_CARD);
        carrier = known;
        return ERROR_SUCCESS;
    }
    return Code(NTE_KEYSET_NOT_DEF);
}

DWORD ContainerStore::PlaceForNew(std::wstring_view text, ContainerPlace& place) const {
    const auto forbidden = [](wchar_t c) { return c == L'?' || c < L' ' || (c >= 0x7F && c < 0xA0); };
    if (std::ranges::any_of(text, forbidden)) return Code(NTE_BAD_KEYSET_PARAM);
    return FindPlace(text, place);
}

DWORD ContainerStore::Find(std::wstring_view text, ContainerPlace& place) const {
    ContainerPlace found;
    const DWORD result = FindPlace(text, found);
    if (result == Code(NTE_KEYSET_NOT_DEF)) return Code(NTE_BAD_KEYSET);
    if (result != ERROR_SUCCESS) return result;
    const std::vector<Carrier> carriers = found.carrier.name.empty() ? Carriers() : std::vector{found.carrier};
    for (const Carrier& carrier : carriers) {
        if (!carrier.present) continue;
        found.carrier = carrier;
        if (GetFileAttributesW(FileOf(found).c_str()) == INVALID_FILE_ATTRIBUTES) continue;
        place = found;
        return ERROR_SUCCESS;
    }
    return Code(NTE_BAD_KEYSET);
}

template <class Access>
DWORD ContainerStore::Locked(const ContainerPlace& place, Access&& access) const {
    if (const DWORD result = CheckPresence(place.carrier)) return result;
    const FolderLock lock(ContainerFolder(place.carrier, owner_, type_), ContainerRights(place.carrier, owner_));
    return lock.Result() != ERROR_SUCCESS ? lock.Result() : std::forward<Access>(access)();
}

DWORD ContainerStore::Read(const ContainerPlace& place, Container& container) const {
    Bytes bytes;
    if (const DWORD result = ReadFileWhole(FileOf(place), bytes)) return result;
    auto read = ReadContainer(bytes);
    if (!read || !AcceptsRounds(read->lock.rounds)) return Code(NTE_KEYSET_ENTRY_BAD);
    if (!SameText(read->name, place.name)) return Code(NTE_BAD_KEYSET);
    container = std::move(*read);
    return ERROR_SUCCESS;
}

DWORD ContainerStore::LoadBytes(const ContainerPlace& place, Bytes& bytes) const {
    return MissingIsBadKeyset(Locked(place, [&] { return ReadFileWhole(FileOf(place), bytes); }));
}

DWORD ContainerStore::Load(const ContainerPlace& place, Container& container) const {
    return MissingIsBadKeyset(Locked(place, [&] { return Read(place, container); }));
}

FileStamp ContainerStore::Stamp(const ContainerPlace& place) const {
    WIN32_FILE_ATTRIBUTE_DATA data;
    if (!GetFileAttributesExW(FileOf(place).c_str(), GetFileExInfoStandard, &data)) return {};
    return {data.ftLastWriteTime, data.nFileSizeLow};
}

DWORD ContainerStore::ReadSecurity(const ContainerPlace& place, DWORD parts, Bytes& descriptor) const {
    if (parts == 0) return Code(NTE_BAD_FLAGS);
    Bytes read;
    for (DWORD size = 0; !GetFileSecurityW(FileOf(place).c_str(), parts, read.data(), size, &size); read.resize(size))
        if (GetLastError() != ERROR_INSUFFICIENT_BUFFER) return MissingIsBadKeyset(GetLastError());
    descriptor = std::move(read);
    return ERROR_SUCCESS;
}

DWORD ContainerStore::Create(const ContainerPlace& place, const Container& container) const {
    if (const DWORD result = CheckPresence(place.carrier)) return result;
    const std::wstring file = FileOf(place);
    if (file.empty()) return ERROR_PATH_NOT_FOUND;
    CreateFolders(file, ApplicationData(FolderOwner(place.carrier, owner_)), ContainerRights(place.carrier, owner_));
    return Locked(place, [&] { return Write(place, container, false); });
}

DWORD ContainerStore::Save(const ContainerPlace& place, const Container& container) const {
    Container saved = container;
    AuthenticateWithoutPassword(saved);
    return Locked(place, [&] { return Write(place, saved, true); });
}

DWORD ContainerStore::SaveBytes(const ContainerPlace& place, ByteView bytes) const {
    return Locked(place, [&] { return WriteBytes(place, bytes, true); });
}

DWORD ContainerStore::Modify(const ContainerPlace& place, Container& container, const Change& change,
                             FileStamp* stamp) const {
    return MissingIsBadKeyset(Locked(place, [&]() -> DWORD {
        Container fresh;
        if (const DWORD result = Read(place, fresh)) return result;
        if (const DWORD result = change(fresh)) return result;
        if (const DWORD result = Write(place, fresh, true)) return result;
        container = std::move(fresh);
        if (stamp != nullptr) *stamp = Stamp(place);
        return ERROR_SUCCESS;
    }));
}

DWORD ContainerStore::Remove(const ContainerPlace& place, const Check& check) const {
    return MissingIsBadKeyset(Locked(place, [&]() -> DWORD {
        const std::wstring file = FileOf(place);
        Bytes bytes;
        if (check) {
            if (const DWORD result = ReadFileWhole(file, bytes)) return result;
            if (const DWORD result = check(bytes)) return result;
        }
        RemoveUnfinished(file);
        return DeleteFileW(file.c_str()) ? ERROR_SUCCESS : GetLastError();
    }));
}

std::vector<ContainerPlace> ContainerStore::List() const {
    std::vector<ContainerPlace> places;
    for (const Carrier& carrier : Carriers()) {
        if (!carrier.present) continue;
        const auto first = static_cast<std::ptrdiff_t>(places.size());
        const std::wstring folder = ContainerFolder(carrier, owner_, type_);
        const FolderLock lock(folder, ContainerRights(carrier, owner_));
        if (lock.Result() != ERROR_SUCCESS) continue;
        EachFile(folder, [&](const WIN32_FIND_DATAW& found) {
            Bytes bytes;
            if (ReadFileWhole(folder + found.cFileName, bytes) != ERROR_SUCCESS) return;
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

Protection ContainerStore::ProtectionOf(const ContainerPlace& place) const {
    if (place.carrier.removable) return Protection::None;
    return owner_ == Owner::User ? Protection::User : Protection::Computer;
}

// Names may contain what file names cannot and may be longer, so that the file is named by their hash. The container's
// own name is in the file. Of two names with the same hash the second one cannot be created.
std::wstring ContainerStore::FileOf(const ContainerPlace& place) const {
    const std::wstring folder = ContainerFolder(place.carrier, owner_, type_);
    return folder.empty() ? folder : folder + TextSum(place.name) + kExtension;
}

bool ContainerStore::HasRoom(const Carrier& carrier, const std::wstring& file, std::size_t size) const {
    if (carrier.room == MAXDWORD) return true;
    ULONGLONG sum = size;
    for (const Owner owner : {Owner::User, Owner::Computer})
        for (const ProviderName& provider : kProviders) {
            const std::wstring folder = ContainerFolder(carrier, owner, provider.type);
            EachFile(folder, [&](const WIN32_FIND_DATAW& found) {
                if (folder + found.cFileName != file) sum += found.nFileSizeLow;
            });
        }
    return sum <= carrier.room;
}

DWORD ContainerStore::Write(const ContainerPlace& place, const Container& container, bool replace) const {
    if (container.extensions.size() > kMostExtensions) return ERROR_DISK_FULL;
    return WriteBytes(place, WriteContainer(container), replace);
}

DWORD ContainerStore::WriteBytes(const ContainerPlace& place, ByteView bytes, bool replace) const {
    const std::wstring file = FileOf(place);
    if (!replace && GetFileAttributesW(file.c_str()) != INVALID_FILE_ATTRIBUTES) return Code(NTE_EXISTS);
    if (bytes.size() > kLargestFile || !HasRoom(place.carrier, file, bytes.size())) return ERROR_DISK_FULL;
    RemoveUnfinished(file);
    const DWORD result = WriteFileAtomically(file, bytes, ContainerRights(place.carrier, owner_), replace);
    return result == ERROR_ALREADY_EXISTS || result == ERROR_FILE_EXISTS ? Code(NTE_EXISTS) : result;
}

}  // namespace softcsp
