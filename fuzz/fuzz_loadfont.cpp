// Loads a font from a fuzzed font dictionary and measures and encodes text with it.
// Input: the dictionary's bytes (object 4), then optionally a 0xFF byte and the data of a stream
// (object 5) that the dictionary may name, e.g. as /ToUnicode or /DescendantFonts [5 0 R].
// Contract: no crash, no sanitizer report, no hang; only PDAllocError may escape.
#include "fuzz/fuzz_pdf.h"
#include "fuzz/fuzz_target.h"

#include "fonts/pdfontfactory.h"
#include "pdf/pdfile.h"

#include <cstdio>
#include <string>
#include <string_view>

namespace {

std::string BuildFile(std::string_view dict, std::string_view stream) {
    return FuzzPdf({"<< /Type /Catalog /Pages 2 0 R >>",
                    "<< /Type /Pages /Kids [3 0 R] /Count 1 >>", "<< /Type /Page /Parent 2 0 R >>",
                    std::string(dict), FuzzStream("", stream)});
}

void Exercise(const PDFont& font, std::string_view text) {
    const auto* bytes = reinterpret_cast<const uint8_t*>(text.data());
    int length = static_cast<int>(text.size() < 4096 ? text.size() : 4096);
    font.TextWidth(bytes, length);
    PDTextState state{12, 1, 2, 90};
    PDGlyphRun run;
    font.GlyphAdvances(bytes, length, &state, nullptr, run);
    PDStr codes;
    for (uint32_t unicode : {0x20u, 0x41u, 0xE9u, 0x20ACu, 0x416u, 0x3042u, 0x1F600u})
        font.AppendCode(unicode, codes);
    for (int code = -1; code < 300; code += 7)
        font.Width(code);
    font.LineFactor();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string_view input(reinterpret_cast<const char*>(data), size);
    size_t cut = input.find('\xFF');
    std::string_view dict = input.substr(0, cut);
    std::string_view stream = cut == std::string_view::npos ? "" : input.substr(cut + 1);
    std::string pdf = BuildFile(dict, stream);
    PDFile file;
    if (!file.OpenMemory(reinterpret_cast<const uint8_t*>(pdf.data()),
                         static_cast<int64_t>(pdf.size())))
        return 0;
    PDFontFactory factory;
    for (int32_t num : {4, 5, 4}) {
        const PDFont* font = factory.LoadFont(file, num);
        if (font != nullptr)
            Exercise(*font, input);
    }
    return 0;
}
