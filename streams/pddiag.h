// The library's one diagnostic reporter and its one exception.
#pragma once

#include <functional>
#include <string_view>

// Formats the message and hands it to the diagnostic sink; without a sink it does nothing.
// Never throws, never stops the caller.
void PDReport(const char* fmt, ...) __attribute__((format(printf, 1, 2)));

// Installs the sink that receives every report (an empty function removes it). Returns the old one.
using PDDiagSink = std::function<void(std::string_view)>;
PDDiagSink PDSetDiagSink(PDDiagSink sink);

// Raised only when memory runs out in the core containers. what() is "new returns 0".
struct PDAllocError {
    const char* what() const noexcept { return "new returns 0"; }
};
[[noreturn]] void PDThrowAlloc();
