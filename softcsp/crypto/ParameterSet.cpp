#include "softcsp/crypto/ParameterSet.h"

namespace softcsp {
namespace {

// The first one of a kind is its default.
constexpr ParameterSet kSets[] = {
    {"1.2.643.2.2.35.1", ParameterKind::Signature, L"Signature, set 1 (default)", L"Подпись, набор 1 (по умолчанию)"},
    {"1.2.643.2.2.35.2", ParameterKind::Signature, L"Signature, set 2", L"Подпись, набор 2"},
    {"1.2.643.2.2.35.3", ParameterKind::Signature, L"Signature, set 3", L"Подпись, набор 3"},
    {"1.2.643.2.2.35.0", ParameterKind::Signature, L"Signature, published example", L"Подпись, опубликованный пример",
     true},
    {"1.2.643.2.2.36.0", ParameterKind::Exchange, L"Exchange, set 1 (default)",
     L"Обмен ключами, набор 1 (по умолчанию)"},
    {"1.2.643.2.2.36.1", ParameterKind::Exchange, L"Exchange, set 2", L"Обмен ключами, набор 2"},
    {"1.2.643.2.2.30.1", ParameterKind::Digest, L"Digest, set 1 (default)", L"Хэширование, набор 1 (по умолчанию)"},
    {"1.2.643.2.2.30.0", ParameterKind::Digest, L"Digest, published example", L"Хэширование, опубликованный пример",
     true},
    {"1.2.643.2.2.31.1", ParameterKind::Cipher, L"Cipher, set 1 (default)", L"Шифрование, набор 1 (по умолчанию)"},
    {"1.2.643.2.2.31.2", ParameterKind::Cipher, L"Cipher, set 2", L"Шифрование, набор 2"},
    {"1.2.643.2.2.31.3", ParameterKind::Cipher, L"Cipher, set 3", L"Шифрование, набор 3"},
    {"1.2.643.2.2.31.4", ParameterKind::Cipher, L"Cipher, set 4", L"Шифрование, набор 4"},
};

}  // namespace

std::span<const ParameterSet> ParameterSets() {
    return kSets;
}

const ParameterSet* FindParameterSet(ParameterKind kind, std::string_view identifier) {
    for (const ParameterSet& set : kSets)
        if (set.kind == kind && set.identifier == identifier) return &set;
    return nullptr;
}

const ParameterSet* FindCurve(std::string_view identifier) {
    const ParameterSet* set = FindParameterSet(ParameterKind::Exchange, identifier);
    return set != nullptr ? set : FindParameterSet(ParameterKind::Signature, identifier);
}

const ParameterSet& DefaultParameterSet(ParameterKind kind) {
    const ParameterSet* set = kSets;
    while (set->kind != kind) ++set;
    return *set;
}

}  // namespace softcsp
