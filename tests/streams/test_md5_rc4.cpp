#include "streams/md5.h"
#include "streams/rc4.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

std::vector<uint8_t> Bytes(const std::string& text) {
    return {text.begin(), text.end()};
}

std::string ToHex(const uint8_t* bytes, size_t length) {
    static const char kDigits[] = "0123456789abcdef";
    std::string out;
    for (size_t i = 0; i < length; ++i) {
        out += kDigits[bytes[i] >> 4];
        out += kDigits[bytes[i] & 15];
    }
    return out;
}

std::vector<uint8_t> FromHex(const std::string& hex) {
    std::vector<uint8_t> out;
    for (size_t i = 0; i + 1 < hex.size(); i += 2) {
        out.push_back(static_cast<uint8_t>(std::stoi(hex.substr(i, 2), nullptr, 16)));
    }
    return out;
}

std::string Md5Hex(const std::vector<uint8_t>& data) {
    uint8_t digest[16];
    PDMd5::Digest(data.data(), data.size(), digest);
    return ToHex(digest, 16);
}

// Fed in pieces of the given size, to cross the 64-byte block boundaries at odd places.
std::string Md5HexInPieces(const std::vector<uint8_t>& data, size_t piece) {
    PDMd5 md5;
    for (size_t at = 0; at < data.size(); at += piece) {
        md5.Update(data.data() + at, std::min(piece, data.size() - at));
    }
    uint8_t digest[16];
    md5.Final(digest);
    return ToHex(digest, 16);
}

std::vector<uint8_t> Pattern(size_t length) {
    std::vector<uint8_t> out(length);
    for (size_t i = 0; i < length; ++i) {
        out[i] = static_cast<uint8_t>((i * 7 + 3) % 256);
    }
    return out;
}

struct Md5Case {
    std::vector<uint8_t> input;
    const char* digest;
};

std::vector<Md5Case> Md5Cases() {
    return {
        // The test suite of the digest's defining document.
        {Bytes(""), "d41d8cd98f00b204e9800998ecf8427e"},
        {Bytes("a"), "0cc175b9c0f1b6a831c399e269772661"},
        {Bytes("abc"), "900150983cd24fb0d6963f7d28e17f72"},
        {Bytes("message digest"), "f96b697d7cb7938d525a2f31aaf161d0"},
        {Bytes("abcdefghijklmnopqrstuvwxyz"), "c3fcd3d76192e4007dfb496cca67e13b"},
        {Bytes("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789"),
         "d174ab98d277d9f5a5611c2c9f419d9f"},
        {Bytes("1234567890123456789012345678901234567890"
               "1234567890123456789012345678901234567890"),
         "57edf4a22be3c955ac49da2e2107b67a"},
        // Lengths around the padding boundaries (55/56 bytes fit or spill the length field).
        {Pattern(55), "52c0e574e1198de5fe3f8f11440dcb1b"},
        {Pattern(56), "46c9907fc908ee68b1e7b8e71286a518"},
        {Pattern(63), "a62f6d59e837867693f042f5b8f5a236"},
        {Pattern(64), "7160b8fb5e9e4023d549c3971fbaeead"},
        {Pattern(65), "70bd662e7aefbda85a0f7244167b7897"},
        {Pattern(127), "acce2474d6cc8302120d09c818d17ef7"},
        {Pattern(128), "10b2da1a82f16d99a81a7203fe9f02cb"},
        {Pattern(1000), "10046f077f2082ac19676b8079f1cb1a"},
    };
}

TEST(PDMd5Test, KnownDigestsOneShotAndInPieces) {
    for (const Md5Case& c : Md5Cases()) {
        SCOPED_TRACE("length " + std::to_string(c.input.size()));
        EXPECT_EQ(Md5Hex(c.input), c.digest);
        for (size_t piece : {1U, 3U, 63U, 64U, 65U}) {
            SCOPED_TRACE("piece " + std::to_string(piece));
            EXPECT_EQ(Md5HexInPieces(c.input, piece), c.digest);
        }
    }
}

TEST(PDMd5Test, MillionBytesAndReuseAfterFinal) {
    const std::vector<uint8_t> million(1000000, 'a');
    PDMd5 md5;
    md5.Update(million.data(), million.size());
    uint8_t digest[16];
    md5.Final(digest);
    EXPECT_EQ(ToHex(digest, 16), "7707d6ae4e027c70eea2a935c2296f21");
    // Final leaves the object ready for a fresh digest.
    md5.Update(reinterpret_cast<const uint8_t*>("abc"), 3);
    md5.Final(digest);
    EXPECT_EQ(ToHex(digest, 16), "900150983cd24fb0d6963f7d28e17f72");
}

struct Rc4KeystreamCase {
    const char* key;
    size_t offset;
    const char* keystream;
};

TEST(PDRc4Test, KeystreamAtPublishedOffsets) {
    const Rc4KeystreamCase cases[] = {
        {"0102030405", 0, "b2396305f03dc027ccc3524a0a1118a8"},
        {"0102030405", 16, "6982944f18fc82d589c403a47a0d0919"},
        {"0102030405", 240, "28cb1132c96ce286421dcaadb8b69eae"},
        {"0102030405", 256, "1cfcf62b03eddb641d77dfcf7f8d8c93"},
        {"0102030405060708090a0b0c0d0e0f10", 0, "9ac7cc9a609d1ef7b2932899cde41b97"},
    };
    for (const Rc4KeystreamCase& c : cases) {
        SCOPED_TRACE(std::string(c.key) + " @" + std::to_string(c.offset));
        const std::vector<uint8_t> key = FromHex(c.key);
        std::vector<uint8_t> zeros(c.offset + 16, 0);
        PDRc4::Crypt(key.data(), key.size(), zeros.data(), zeros.size());
        EXPECT_EQ(ToHex(zeros.data() + c.offset, 16), c.keystream);
    }
}

struct Rc4TextCase {
    const char* key;
    const char* plaintext;
    const char* ciphertext;
};

TEST(PDRc4Test, ClassicTextVectorsEncryptAndDecrypt) {
    const Rc4TextCase cases[] = {
        {"Key", "Plaintext", "bbf316e8d940af0ad3"},
        {"Wiki", "pedia", "1021bf0420"},
        {"Secret", "Attack at dawn", "45a01f645fc35b383552544b9bf5"},
    };
    for (const Rc4TextCase& c : cases) {
        SCOPED_TRACE(c.key);
        const std::vector<uint8_t> key = Bytes(c.key);
        std::vector<uint8_t> data = Bytes(c.plaintext);
        PDRc4::Crypt(key.data(), key.size(), data.data(), data.size());
        EXPECT_EQ(ToHex(data.data(), data.size()), c.ciphertext);
        PDRc4::Crypt(key.data(), key.size(), data.data(), data.size());
        EXPECT_EQ(std::string(data.begin(), data.end()), c.plaintext);
    }
}

TEST(PDRc4Test, ContinuedCallsFollowOneKeystream) {
    const std::vector<uint8_t> key = FromHex("0102030405");
    std::vector<uint8_t> data(272, 0);
    PDRc4 cipher(key.data(), key.size());
    cipher.Crypt(data.data(), 5);
    cipher.Crypt(data.data() + 5, 235);
    cipher.Crypt(data.data() + 240, 32);
    EXPECT_EQ(ToHex(data.data(), 16), "b2396305f03dc027ccc3524a0a1118a8");
    EXPECT_EQ(ToHex(data.data() + 256, 16), "1cfcf62b03eddb641d77dfcf7f8d8c93");
}

TEST(PDRc4Test, EmptyKeyActsAsOneZeroByte) {
    const uint8_t zero = 0;
    std::vector<uint8_t> withEmpty(16, 0);
    std::vector<uint8_t> withZero(16, 0);
    PDRc4::Crypt(nullptr, 0, withEmpty.data(), withEmpty.size());
    PDRc4::Crypt(&zero, 1, withZero.data(), withZero.size());
    EXPECT_EQ(withEmpty, withZero);
}

} // namespace
