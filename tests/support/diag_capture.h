// DiagCapture: collects every diagnostic report while it lives, then puts the old sink back.
//   DiagCapture cap;
//   ... code under test ...
//   EXPECT_EQ(cap.Text(), "PDArr: index out of range\n");
#pragma once

#include "streams/pddiag.h"

#include <string>
#include <string_view>
#include <utility>

class DiagCapture {
public:
    DiagCapture()
        : m_previous(PDSetDiagSink([this](std::string_view text) { m_text.append(text); })) {}
    ~DiagCapture() { PDSetDiagSink(std::move(m_previous)); }
    DiagCapture(const DiagCapture&) = delete;
    DiagCapture& operator=(const DiagCapture&) = delete;

    // Everything reported so far, concatenated.
    const std::string& Text() const noexcept { return m_text; }
    void Clear() noexcept { m_text.clear(); }

private:
    std::string m_text;
    PDDiagSink m_previous;
};
