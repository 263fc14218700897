#include "common/rsa_pem.h"

#include <fstream>
#include <iterator>
#include <utility>

#include "common/bytes.h"

namespace tools {
namespace {

constexpr uint8_t kInteger = 0x02, kBits = 0x03, kOctets = 0x04, kSequence = 0x30;
constexpr size_t kMostModulus = 130;
constexpr size_t kMostFile = 1 << 16;

int Base64Value(char c) {
    if (c >= 'A' && c <= 'Z') return c - 'A';
    if (c >= 'a' && c <= 'z') return c - 'a' + 26;
    if (c >= '0' && c <= '9') return c - '0' + 52;
    return c == '+' ? 62 : c == '/' ? 63 : -1;
}

/** RFC 4648, 4, up to the padding. */
std::vector<uint8_t> DecodeBase64(const std::string &text) {
    std::vector<uint8_t> data;
    uint32_t bits = 0;
    int count = 0;
    for (const char c : text) {
        const int value = Base64Value(c);
        if (c == '=') break;
        if (value < 0) continue;
        bits = bits << 6 | static_cast<uint32_t>(value);
        count += 6;
        if (count >= 8) data.push_back(static_cast<uint8_t>(bits >> (count -= 8)));
    }
    return data;
}

/** Takes the next value of DER (ITU-T X.690) with this tag off the front; empty if there is none. */
Bytes Take(Bytes *der, uint8_t tag) {
    if (der->size() < 2 || (*der)[0] != tag) return {};
    size_t length = (*der)[1], head = 2;
    if (length > 0x80 && length <= 0x83) {
        const size_t bytes = length - 0x80;
        length = 0;
        for (; head < 2 + bytes && head < der->size(); ++head) length = length << 8 | (*der)[head];
    }
    if (head > der->size() || length > der->size() - head) return {};
    const Bytes value = der->subspan(head, length);
    *der = der->subspan(head + length);
    return value;
}

std::vector<uint8_t> TakeNumber(Bytes *der) {
    Bytes number = Take(der, kInteger);
    while (!number.empty() && number[0] == 0) number = number.subspan(1);
    return {number.begin(), number.end()};
}

/** RSAPrivateKey behind its version, or RSAPublicKey. */
bool ReadNumbers(Bytes der, bool is_private, RsaKey *key) {
    if (is_private) Take(&der, kInteger);
    std::vector<uint8_t> RsaKey::*const fields[] = {&RsaKey::modulus,   &RsaKey::exponent,   &RsaKey::private_exponent,
                                                    &RsaKey::prime1,    &RsaKey::prime2,     &RsaKey::exponent1,
                                                    &RsaKey::exponent2, &RsaKey::coefficient};
    const size_t count = is_private ? std::size(fields) : 2;
    for (size_t i = 0; i < count; ++i) {
        key->*fields[i] = TakeNumber(&der);
        if ((key->*fields[i]).empty()) return false;
    }
    return true;
}

/** A form of key file: its words, and what the numbers are wrapped in. */
struct Form {
    const char *label;
    bool is_private;
    uint8_t wrapper;  ///< tag of the value that holds them; 0 for none
};
const Form kForms[] = {{"RSA PRIVATE KEY", true, 0},
                       {"PRIVATE KEY", true, kOctets},
                       {"RSA PUBLIC KEY", false, 0},
                       {"PUBLIC KEY", false, kBits}};

bool ReadForm(const Form &form, const std::string &body, RsaKey *key) {
    const std::vector<uint8_t> data = DecodeBase64(body);
    Bytes der = data;
    Bytes all = Take(&der, kSequence);
    if (form.wrapper != 0) {
        if (form.is_private) Take(&all, kInteger);  // version
        Take(&all, kSequence);                      // algorithm
        all = Take(&all, form.wrapper);
        if (form.wrapper == kBits && !all.empty()) all = all.subspan(1);  // unused bits
        all = Take(&all, kSequence);
    }
    return ReadNumbers(all, form.is_private, key);
}

/** The first key in the text, of a form that will do. */
bool FindKey(const std::string &text, bool want_private, RsaKey *key) {
    for (const Form &form : kForms) {
        const std::string begin = std::string("-----BEGIN ") + form.label + "-----";
        const size_t at = text.find(begin);
        if (at == std::string::npos || (want_private && !form.is_private)) continue;
        const size_t from = at + begin.size(), end = text.find("-----END", from);
        if (end != std::string::npos && ReadForm(form, text.substr(from, end - from), key)) return true;
    }
    return false;
}

}  // namespace

bool ReadRsaPem(const std::string &path, bool want_private, RsaKey *key, Failure *failure) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        *failure = {kExitUsage, path + ": the key can't be read", ""};
        return false;
    }
    std::string text(kMostFile, '\0');
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<size_t>(file.gcount()));
    if (!FindKey(text, want_private, key)) {
        *failure = {kExitUsage, path + (want_private ? ": no private RSA key in it" : ": no RSA key in it"),
                    "make one with 'openssl genrsa -out key.pem 1024'; it must not be encrypted"};
        return false;
    }
    if (key->modulus.size() <= kMostModulus) return true;
    *failure = {kExitUsage, path + ": a key of " + std::to_string(key->modulus.size() * 8) + " bits",
                "the key messages of cameras have room for 1040 at most"};
    return false;
}

}  // namespace tools
