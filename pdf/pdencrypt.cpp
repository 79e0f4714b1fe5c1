#include "pdf/pdencrypt.h"

#include "pdf/pdstring.h"

#include <algorithm>
#include <string>
#include <vector>

namespace {

// A number of the /Encrypt dictionary; only integers and numeric words count.
bool ReadNumber(const PDValue& dict, const char* key, int64_t& out) {
    const PDValue* v = dict.Get(key);
    if (v == nullptr || (v->Kind() != kPDInteger && v->Kind() != kPDText)) {
        return false;
    }
    out = v->GetInt64();
    return true;
}

// /O or /U decoded from its written form; empty when it is not a string.
std::string ReadEntry(const PDValue& dict, const char* key) {
    const PDValue* v = dict.Get(key);
    if (v == nullptr || v->Kind() != kPDString) {
        return {};
    }
    // Key material is binary: a short octal escape is the byte it stands for, as other readers
    // take it (writers that shorten "\000" to "\0" are common).
    PDStr bytes;
    PDDecodeString(v->Text(), bytes, PDShortOctal::kByte);
    return bytes.ToString();
}

// True when a directly held crypt filter of /CF names an AES method.
bool UsesAesFilter(const PDValue& dict) {
    const PDValue* filters = dict.Get("/CF");
    const PDDict* table = filters != nullptr ? filters->Dict() : nullptr;
    if (table == nullptr) {
        return false;
    }
    PDValue* filter = nullptr;
    const char* name = nullptr;
    for (int i = 0; table->Entry(i, &filter, &name); ++i) {
        const PDValue* method = filter != nullptr ? filter->Get("/CFM") : nullptr;
        if (method != nullptr && (method->IsName("/AESV2") || method->IsName("/AESV3"))) {
            return true;
        }
    }
    return false;
}

// The method one crypt filter dictionary of /CF names.
PDCryptMethod MethodOfFilter(const PDValue* filter) {
    const PDValue* method = filter != nullptr ? filter->Get("/CFM") : nullptr;
    if (method == nullptr || method->IsName("/None"))
        return PDCryptMethod::kNone;
    if (method->IsName("/V2"))
        return PDCryptMethod::kRc4;
    if (method->IsName("/AESV2"))
        return PDCryptMethod::kAes128;
    if (method->IsName("/AESV3"))
        return PDCryptMethod::kAes256;
    return PDCryptMethod::kUnknown;
}

// The method of the crypt filter a name picks (/Identity: none), looked up under /CF.
PDCryptMethod MethodOf(const PDValue& dict, const PDValue* name) {
    if (name == nullptr)
        return PDCryptMethod::kNone; // /StmF and /StrF default to /Identity
    if (!name->IsName())
        return PDCryptMethod::kUnknown;
    if (name->IsName("/Identity"))
        return PDCryptMethod::kNone;
    const PDValue* filters = dict.Get("/CF");
    return MethodOfFilter(filters != nullptr ? filters->Get(name->Text().Text()) : nullptr);
}

// Every crypt filter of /CF by name, for streams that name their own.
std::vector<std::pair<std::string, PDCryptMethod>> NamedFilters(const PDValue& dict) {
    std::vector<std::pair<std::string, PDCryptMethod>> named;
    const PDValue* filters = dict.Get("/CF");
    const PDDict* table = filters != nullptr ? filters->Dict() : nullptr;
    PDValue* filter = nullptr;
    const char* name = nullptr;
    for (int i = 0; table != nullptr && table->Entry(i, &filter, &name); ++i) {
        if (name != nullptr)
            named.emplace_back(name, MethodOfFilter(filter));
    }
    return named;
}

// An array without its first element.
std::unique_ptr<PDValue> WithoutFirst(const PDValue& array) {
    auto rest = PDValue::MakeArray();
    for (const PDValue* e = array.First() != nullptr ? array.First()->Next() : nullptr;
         e != nullptr; e = e->Next())
        rest->Append(e->Copy());
    return rest;
}

// The string's bytes through crypt, stored back as a literal string.
template <class Crypt> void CryptString(PDValue& value, Crypt crypt) {
    if (value.Kind() != kPDString) {
        return;
    }
    PDStr bytes;
    PDDecodeString(value.Text(), bytes, PDShortOctal::kByte);
    std::vector<uint8_t> out = crypt(bytes.Bytes(), bytes.Length());
    PDStr written;
    PDEncodeString(out.data(), static_cast<int>(out.size()), written, kPDLiteral);
    value.MutableText() = written;
}

} // namespace

PDEncryptParams PDReadEncryptDictionary(const PDValue& encrypt) {
    PDEncryptParams params;
    params.owner = ReadEntry(encrypt, "/O");
    params.user = ReadEntry(encrypt, "/U");
    params.ownerKey = ReadEntry(encrypt, "/OE");
    params.userKey = ReadEntry(encrypt, "/UE");
    params.perms = ReadEntry(encrypt, "/Perms");
    int64_t number = 0;
    // Deliberate: /P wraps to 32 bits, so an unsigned 4294967292 reads as -4.
    params.permissions = ReadNumber(encrypt, "/P", number) ? static_cast<int32_t>(number) : 0;
    params.version = ReadNumber(encrypt, "/V", number)
                         ? static_cast<int>(std::clamp<int64_t>(number, -1, 99))
                         : 0;
    params.revision = ReadNumber(encrypt, "/R", number)
                          ? static_cast<int>(std::clamp<int64_t>(number, -1, 99))
                          : 2;
    params.keyBits = ReadNumber(encrypt, "/Length", number)
                         ? static_cast<int>(std::clamp<int64_t>(number, 0, 4096))
                         : -1;
    params.aesFilter = UsesAesFilter(encrypt);
    const PDValue* handler = encrypt.Get("/Filter");
    params.standardHandler = handler == nullptr || handler->IsName("/Standard");
    if (params.version == 4 || params.version == 5) {
        params.namedFilters = NamedFilters(encrypt);
        params.streamMethod = MethodOf(encrypt, encrypt.Get("/StmF"));
        params.stringMethod = MethodOf(encrypt, encrypt.Get("/StrF"));
        const PDValue* metadata = encrypt.Get("/EncryptMetadata");
        params.encryptMetadata = metadata == nullptr || metadata->Text() != "false";
    }
    return params;
}

void PDDecryptString(const PDSecurity& security, PDValue& value, int32_t objNum,
                     int32_t generation) {
    CryptString(value, [&](const uint8_t* data, int length) {
        return security.Decrypt(data, length, objNum, generation, PDSecurity::kString);
    });
}

void PDEncryptString(const PDSecurity& security, PDValue& value, int32_t objNum,
                     int32_t generation) {
    CryptString(value, [&](const uint8_t* data, int length) {
        return security.Encrypt(data, length, objNum, generation);
    });
}

bool PDTakeCryptFilter(PDValue& stream, std::string& name) {
    PDValue* filter = stream.Get("/Filter");
    const bool inArray = filter != nullptr && filter->Kind() == kPDArray;
    const PDValue* first = inArray ? filter->First() : filter;
    if (first == nullptr || !first->IsName("/Crypt"))
        return false;
    PDValue* parms = stream.Get("/DecodeParms");
    const PDValue* own = parms != nullptr && parms->Kind() == kPDArray ? parms->First() : parms;
    const PDValue* named = own != nullptr ? own->Get("/Name") : nullptr;
    name = named != nullptr && named->IsName() ? named->Text().Text() : "/Identity";
    PDDict& dict = *stream.Dict();
    if (inArray && filter->ElementCount() > 1)
        dict.Set("/Filter", WithoutFirst(*filter));
    else
        dict.Remove("/Filter");
    if (parms != nullptr && parms->Kind() == kPDArray && parms->ElementCount() > 1)
        dict.Set("/DecodeParms", WithoutFirst(*parms));
    else if (parms != nullptr)
        dict.Remove("/DecodeParms");
    return true;
}
