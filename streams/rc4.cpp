#include "streams/rc4.h"

#include <utility>

PDRc4::PDRc4(const uint8_t* key, size_t keyLength) noexcept : m_state{}, m_i(0), m_j(0) {
    // Deliberate: an empty key behaves as a single zero byte, so no input can divide by zero.
    static const uint8_t kZero = 0;
    if (key == nullptr || keyLength == 0) {
        key = &kZero;
        keyLength = 1;
    }
    if (keyLength > 256) {
        keyLength = 256;
    }
    for (int i = 0; i < 256; ++i) {
        m_state[i] = static_cast<uint8_t>(i);
    }
    uint8_t j = 0;
    for (size_t i = 0; i < 256; ++i) {
        j = static_cast<uint8_t>(j + m_state[i] + key[i % keyLength]);
        std::swap(m_state[i], m_state[j]);
    }
}

void PDRc4::Crypt(uint8_t* data, size_t length) noexcept {
    uint8_t i = m_i;
    uint8_t j = m_j;
    for (size_t k = 0; k < length; ++k) {
        i = static_cast<uint8_t>(i + 1);
        j = static_cast<uint8_t>(j + m_state[i]);
        std::swap(m_state[i], m_state[j]);
        data[k] ^= m_state[static_cast<uint8_t>(m_state[i] + m_state[j])];
    }
    m_i = i;
    m_j = j;
}

void PDRc4::Crypt(const uint8_t* key, size_t keyLength, uint8_t* data, size_t length) noexcept {
    PDRc4 cipher(key, keyLength);
    cipher.Crypt(data, length);
}
