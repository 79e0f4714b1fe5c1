#include "streams/md5.h"
#include "streams/rc4.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>

namespace {

const uint8_t* U8(const std::string& s) {
    return reinterpret_cast<const uint8_t*>(s.data());
}

std::string ToHex(const uint8_t* bytes, size_t length) {
    std::string out;
    for (size_t i = 0; i < length; ++i)
        out += {"0123456789abcdef"[bytes[i] >> 4], "0123456789abcdef"[bytes[i] & 15]};
    return out;
}

std::string Pattern(size_t length) {
    std::string out(length, '\0');
    for (size_t i = 0; i < length; ++i)
        out[i] = static_cast<char>((i * 7 + 3) % 256);
    return out;
}

TEST(PDMd5Test, KnownDigestsOneShotAndInPieces) {
    const std::pair<std::string, const char*> cases[] = {
        {"", "d41d8cd98f00b204e9800998ecf8427e"},
        {"abc", "900150983cd24fb0d6963f7d28e17f72"},
        {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
         "57edf4a22be3c955ac49da2e2107b67a"},
        // 55 and 56 bytes fit or spill the length field; 64 is a whole block.
        {Pattern(55), "52c0e574e1198de5fe3f8f11440dcb1b"},
        {Pattern(56), "46c9907fc908ee68b1e7b8e71286a518"},
        {Pattern(64), "7160b8fb5e9e4023d549c3971fbaeead"},
        {Pattern(65), "70bd662e7aefbda85a0f7244167b7897"},
        {std::string(1000000, 'a'), "7707d6ae4e027c70eea2a935c2296f21"},
    };
    PDMd5 md5; // one object for every digest: Final must leave it ready for the next
    uint8_t digest[16];
    for (const auto& [input, expected] : cases) {
        SCOPED_TRACE("length " + std::to_string(input.size()));
        PDMd5::Digest(U8(input), input.size(), digest);
        EXPECT_EQ(ToHex(digest, 16), expected);
        for (size_t piece : {1U, 3U, 63U, 64U, 65U}) {
            SCOPED_TRACE("piece " + std::to_string(piece));
            for (size_t at = 0; at < input.size(); at += piece)
                md5.Update(U8(input) + at, std::min(piece, input.size() - at));
            md5.Final(digest);
            EXPECT_EQ(ToHex(digest, 16), expected);
        }
    }
}

TEST(PDRc4Test, PublishedVectorsOneShotAndInPieces) {
    const std::string key5("\x01\x02\x03\x04\x05", 5);
    const struct {
        std::string key;
        std::string data; // keystream vectors encrypt zeros and compare from offset skip
        size_t skip;
        const char* hex;
    } cases[] = {
        {key5, std::string(16, '\0'), 0, "b2396305f03dc027ccc3524a0a1118a8"},
        {key5, std::string(272, '\0'), 256, "1cfcf62b03eddb641d77dfcf7f8d8c93"},
        {"\x01\x02\x03\x04\x05\x06\x07\x08\x09\x0a\x0b\x0c\x0d\x0e\x0f\x10", std::string(16, '\0'),
         0, "9ac7cc9a609d1ef7b2932899cde41b97"},
        {"Secret", "Attack at dawn", 0, "45a01f645fc35b383552544b9bf5"},
        {"", std::string(16, '\0'), 0, "de188941a3375d3a8a061e67576e926d"}, // as key "\0"
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.hex);
        std::string data = c.data;
        PDRc4::Crypt(U8(c.key), c.key.size(), reinterpret_cast<uint8_t*>(data.data()), data.size());
        EXPECT_EQ(ToHex(U8(data) + c.skip, data.size() - c.skip), c.hex);
        PDRc4 cipher(U8(c.key), c.key.size());
        for (size_t at = 0; at < data.size(); at += 7) // continued calls follow one keystream
            cipher.Crypt(reinterpret_cast<uint8_t*>(data.data()) + at,
                         std::min<size_t>(7, data.size() - at));
        EXPECT_EQ(data, c.data);
    }
}

} // namespace
