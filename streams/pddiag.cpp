#include "streams/pddiag.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <utility>

namespace {

PDDiagSink& Sink() {
    static PDDiagSink sink;
    return sink;
}

} // namespace

void PDReport(const char* fmt, ...) {
    PDDiagSink& sink = Sink();
    if (!sink || fmt == nullptr)
        return;
    char local[512];
    va_list args;
    va_start(args, fmt);
    int needed = std::vsnprintf(local, sizeof local, fmt, args);
    va_end(args);
    if (needed < 0)
        return;
    auto size = static_cast<size_t>(needed);
    if (size < sizeof local) {
        sink(std::string_view(local, size));
        return;
    }
    // Long messages get a heap buffer; without memory the short form is the best we can do.
    std::unique_ptr<char, decltype(&std::free)> big(static_cast<char*>(std::malloc(size + 1)),
                                                    &std::free);
    if (!big) {
        sink(std::string_view(local, sizeof local - 1));
        return;
    }
    va_start(args, fmt);
    std::vsnprintf(big.get(), size + 1, fmt, args);
    va_end(args);
    sink(std::string_view(big.get(), size));
}

PDDiagSink PDSetDiagSink(PDDiagSink sink) {
    return std::exchange(Sink(), std::move(sink));
}

void PDThrowAlloc() {
    throw PDAllocError{};
}
