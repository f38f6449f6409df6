// A certificate's fields as people read them.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include <string>

enum class NameForm {
    Display,  // the one that tells it from others: the common name, as a rule
    Simple,   // all parts of the name, their values only
    X500,     // all parts with their kinds: "CN=…, O=…"
};
enum class NameOf { Subject, Issuer };

// Empty when the certificate has no such name.
std::wstring CertificateName(const CERT_CONTEXT& certificate, NameForm form, NameOf whose = NameOf::Subject);

// "01A2 B3C4 D5": from the most significant byte, two bytes a group.
std::wstring SerialNumberText(const CRYPT_INTEGER_BLOB& serialNumber);

// The user's long date and time, local; `time` is UTC. Empty for what is no time.
std::wstring TimeText(const FILETIME& time);
