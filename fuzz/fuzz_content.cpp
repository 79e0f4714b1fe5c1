// Runs fuzzed bytes as page content through the content tokenizer, measuring shown text with the
// standard fonts and a font of its own widths and /ToUnicode map; the same bytes are the content
// of the form /X, which the page (and the form itself) may call. Then checks the balance.
// Contract: no crash, no sanitizer report, no hang; only PDAllocError may escape.
#include "fuzz/fuzz_pdf.h"
#include "fuzz/fuzz_target.h"

#include "fonts/pdcontent.h"
#include "fonts/pdcontentbalance.h"
#include "pdf/pdfile.h"

#include <cstdio>
#include <string>
#include <string_view>

namespace {

const char kToUnicode[] =
    "/CIDInit /ProcSet findresource begin 12 dict begin begincmap /CMapName /Fz def\n"
    "1 begincodespacerange <00> <FF> endcodespacerange\n"
    "2 beginbfchar <41> <0042> <42> <D83DDE00> endbfchar\n"
    "1 beginbfrange <61> <7A> <0061> endbfrange\n"
    "endcmap CMapName currentdict /CMap defineresource pop end end";

std::string BuildFile(std::string_view content) {
    return FuzzPdf({
        "<< /Type /Catalog /Pages 2 0 R >>",
        "<< /Type /Pages /Kids [3 0 R] /Count 1 >>",
        "<< /Type /Page /Parent 2 0 R /Resources << /Font << /F1 4 0 R /F2 5 0 R /F3 6 0 R >> "
        "/XObject << /X 7 0 R /Im 8 0 R >> >> /Contents 7 0 R >>",
        "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>",
        "<< /Type /Font /Subtype /TrueType /BaseFont /Own /FirstChar 32 /LastChar 40 "
        "/Widths [250 300 -1 1e9 500] /ToUnicode 9 0 R >>",
        "<< /Type /Font /Subtype /Type1 /BaseFont /Symbol >>",
        FuzzStream("/Type /XObject /Subtype /Form /BBox [0 0 100 100]", content),
        FuzzStream("/Type /XObject /Subtype /Image /Width 1 /Height 1", "X"),
        FuzzStream("", kToUnicode),
    });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string pdf = BuildFile(std::string_view(reinterpret_cast<const char*>(data), size));
    PDFile file;
    if (!file.OpenMemory(reinterpret_cast<const uint8_t*>(pdf.data()),
                         static_cast<int64_t>(pdf.size())))
        return 0;
    std::unique_ptr<PDValue> page = file.LoadValue(3);
    const PDValue* resources = page != nullptr ? page->Get("/Resources") : nullptr;
    double sum = 0;
    PDContentReader reader(file, resources);
    reader.SetTextSink([&sum](const PDShownText& shown) {
        sum += shown.x + shown.y + shown.width + shown.text.Length();
    });
    reader.Run(data, static_cast<int64_t>(size));
    PDCheckContentBalance(file, resources, data, static_cast<int64_t>(size));
    return sum == 0.5 ? 1 : 0; // keeps the sums from being optimised away
}
