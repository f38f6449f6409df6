// "certificate": files with certificates for keys of containers, in all usual formats.
#include "softcsp/common/Files.h"
#include "softcsp/encoding/Der.h"
#include "softcsp/tool/Certificates.h"
#include "softcsp/tool/Command.h"
#include "softcsp/tool/Containers.h"

namespace softcsp {
namespace {

constexpr wchar_t kKey[] = L"--key", kOut[] = L"--out", kFormat[] = L"--format";
constexpr Option kOptions[] = {kMachine,     kProvider, {kKey, 1},  {kOut, 1}, kSubject,
                               {kFormat, 1}, kPassword, kNotBefore, kNotAfter};
constexpr std::size_t kMostNames = 1000;
constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;

struct CloseStore {
    void operator()(void* store) const { CertCloseStore(store, 0); }
};
using MemoryStore = std::unique_ptr<void, CloseStore>;

[[noreturn]] void ThrowLast(const wchar_t* what) {
    throw CommandFailure{what, GetLastError()};
}

Bytes Binary(const std::vector<Bytes>& certificates) {
    return certificates[0];
}

Bytes Base64(const std::vector<Bytes>& certificates) {
    const Bytes& der = certificates[0];
    Bytes text;
    DWORD length = 0;  // with the terminator; then without
    for (int pass = 0; pass < 2; ++pass) {
        text.resize(length);
        if (!CryptBinaryToStringA(der.data(), static_cast<DWORD>(der.size()), CRYPT_STRING_BASE64HEADER,
                                  pass == 0 ? nullptr : reinterpret_cast<char*>(text.data()), &length))
            ThrowLast(L"can't encode a certificate");
    }
    text.resize(length);
    return text;
}

// A message without signatures that contains only certificates (RFC 2315, 9.1). Not every system's own function for
// this writes one that can be read again.
Bytes Pkcs7(const std::vector<Bytes>& certificates) {
    constexpr std::uint8_t kContext0 = 0xA0, kSet = 0x31;
    constexpr std::uint8_t version[] = {1};
    Bytes all;
    for (const Bytes& certificate : certificates) all.insert(all.end(), certificate.begin(), certificate.end());
    const Bytes nothing = der::Element(kSet, {});
    const Bytes message =
        der::Element(der::kSequence, {der::Element(der::kInteger, {version}), nothing,
                                      der::Element(der::kSequence, {der::ObjectIdentifier(szOID_RSA_data)}),
                                      der::Element(kContext0, {all}), nothing});
    return der::Element(der::kSequence,
                        {der::ObjectIdentifier(szOID_RSA_signedData), der::Element(kContext0, {message})});
}

// Certificates without properties: with properties not every system can read a serialized store.
Bytes Serialized(const std::vector<Bytes>& certificates) {
    const MemoryStore store(CertOpenStore(CERT_STORE_PROV_MEMORY, kEncoding, 0, CERT_STORE_CREATE_NEW_FLAG, nullptr));
    if (!store) ThrowLast(L"can't make a certificate store");
    for (const Bytes& certificate : certificates)
        if (!CertAddEncodedCertificateToStore(store.get(), kEncoding, certificate.data(),
                                              static_cast<DWORD>(certificate.size()), CERT_STORE_ADD_ALWAYS, nullptr))
            ThrowLast(L"can't add a certificate to a store");
    Bytes bytes;
    CRYPT_DATA_BLOB blob{};
    for (int pass = 0; pass < 2; ++pass) {  // the size, then the bytes
        if (!CertSaveStore(store.get(), kEncoding, CERT_STORE_SAVE_AS_STORE, CERT_STORE_SAVE_TO_MEMORY, &blob, 0))
            ThrowLast(L"can't save a certificate store");
        bytes.resize(blob.cbData);
        blob.pbData = bytes.data();
    }
    return bytes;
}

struct Form {
    const wchar_t* name;
    const wchar_t* extension;  // implies the format unless --format is given; empty: none
    bool several;
    Bytes (*write)(const std::vector<Bytes>&);
};
constexpr Form kForms[] = {{L"der", L"", false, Binary},
                           {L"base64", L"", false, Base64},
                           {L"p7b", L".p7b", true, Pkcs7},
                           {L"sst", L".sst", true, Serialized}};

const Form& FormOf(const Options& options, const std::wstring& file) {
    const auto format = options.Value(kFormat);
    for (const Form& form : kForms)
        if (format ? *format == form.name : *form.extension != 0 && file.ends_with(form.extension)) return form;
    if (format) throw WrongUsage{L"--format takes der, base64, p7b or sst"};
    return kForms[0];
}

Bytes MakeCertificate(const Options& options, const std::wstring& name, bool signatureKey) {
    ContainerPlace place;
    const Container container = LoadContainer(StoreOf(options), name, place);
    const ContainerKey& key = KeyOf(container, signatureKey);
    const CertificateRequest request = ReadRequest(options, SubjectOf(container, key));
    const auto secret = Unseal(UnlockContainer(container, options), key.privateKey);
    const auto pair = secret ? KeyPair::FromPrivate(*key.curve, *secret) : std::nullopt;
    if (!pair) throw CommandFailure{L"can't open a key of " + container.name, Code(NTE_BAD_KEY)};
    return Issue(request, *pair, *key.digest);
}

}  // namespace

void RunCertificate(Arguments arguments) {
    const Options options(arguments, kOptions, {1, kMostNames});
    const std::wstring key = options.Value(kKey).value_or(L""), file = options.Value(kOut).value_or(L"");
    if (key != L"x" && key != L"s") throw WrongUsage{L"--key takes x or s"};
    if (file.empty()) throw WrongUsage{L"--out FILE is missing"};
    const Form& form = FormOf(options, file);
    if (options.Names().size() > 1 && !form.several)
        throw WrongUsage{std::wstring(form.name) + L" holds one certificate"};
    std::vector<Bytes> certificates;
    for (const std::wstring& name : options.Names())
        certificates.push_back(MakeCertificate(options, name, key == L"s"));
    Check(WriteFileWhole(file, form.write(certificates)), L"can't write " + file);
}

}  // namespace softcsp
