#include "fonts/pdtokenfifo.h"

#include "streams/pddiag.h"

bool TokenFIFO::Push(PDContentToken&& token) {
    if (m_count + 1 > kCapacity) {
        PDReport("TokenFIFO: capacity exceeded\n");
        return false;
    }
    m_slots[m_write % kCapacity] = std::move(token);
    m_write = (m_write + 1) % kCapacity;
    ++m_count;
    return true;
}

const PDContentToken* TokenFIFO::At(int i) const noexcept {
    if (i < 0 || i >= m_count)
        return nullptr;
    int slot = (m_write - m_count + i + kCapacity) % kCapacity;
    return &m_slots[slot];
}

const PDContentToken* TokenFIFO::Operand(int i, int n) const noexcept {
    if (i < 0 || i >= n)
        return nullptr;
    return At(m_count - n + i);
}

double TokenFIFO::Number(int i, int n) const noexcept {
    const PDContentToken* t = Operand(i, n);
    return t != nullptr && t->kind == kOperandNumber ? t->number : 0;
}
