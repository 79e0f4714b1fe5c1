// The object layer's side of encryption: what an /Encrypt dictionary says, and string values
// passed through a security handler.
#pragma once

#include "pdf/pdvalue.h"
#include "streams/pdsecurity.h"

#include <cstdint>
#include <string>

// /O and /U decoded from their written form, /P (wrapped to 32 bits), /V (default 0), /R (default
// 2), /Length (-1 when absent) and whether a crypt filter of /CF names an AES method.
PDEncryptParams PDReadEncryptDictionary(const PDValue& encrypt);

// A string value as written, decrypted (or encrypted) with the object's key and stored back as a
// literal string (every backslash doubled; kind stays String). Other kinds are left alone.
void PDDecryptString(const PDSecurity& security, PDValue& value, int32_t objNum,
                     int32_t generation);
void PDEncryptString(const PDSecurity& security, PDValue& value, int32_t objNum,
                     int32_t generation);

// When a stream's first filter is /Crypt, takes it (and its /DecodeParms entry) out of the
// dictionary and returns true with the crypt filter's name in name (/Identity when it names
// none): the reader decrypts the data with that filter, and what is left decodes as usual.
bool PDTakeCryptFilter(PDValue& stream, std::string& name);
