// Fills a form holding every kind of field with fuzzed values: the input's lines are the values,
// given to the fields in turn (the first two bytes pick the auto-size limits; the bits of the
// second also delete a field, add one and flatten), then the document is written in memory.
#include "forms/form_document.h"
#include "forms/form_template.h"
#include "fuzz/fuzz_pdf.h"
#include "fuzz/fuzz_target.h"

#include <string>
#include <vector>

namespace {

const char* const kObjects[] = {
    "<< /Type /Catalog /Pages 2 0 R /AcroForm << /Fields [4 0 R 5 0 R 6 0 R 7 0 R 8 0 R 11 0 R "
    "12 0 R 13 0 R] /DA (/Helv 0 Tf 0 g) /DR << /Font << /Helv 14 0 R /F1 15 0 R >> >> >> >>",
    "<< /Type /Pages /Kids [3 0 R] /Count 1 >>",
    "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 400 400] /Annots [4 0 R 5 0 R 6 0 R 7 0 R 9 0 R "
    "10 0 R 11 0 R 12 0 R 13 0 R] >>",
    "<< /FT /Tx /T (a) /Subtype /Widget /Rect [10 360 210 380] /AP << /N 16 0 R >> >>",
    "<< /FT /Tx /Ff 4096 /T (b) /Subtype /Widget /Rect [10 100 210 190] /DA (/F1 0 Tf) /Q 1 >>",
    "<< /FT /Btn /T (c) /Subtype /Widget /Rect [10 300 30 320] /AP << /N << /On 16 0 R >> >> >>",
    "<< /FT /Btn /T (d) /Subtype /Widget /Rect [40 300 40 320] /MK << /CA (8) /R 90 >> >>",
    "<< /FT /Btn /Ff 49152 /T (e) /Kids [9 0 R 10 0 R] /Opt [(x) (y)] >>",
    "<< /Parent 8 0 R /Subtype /Widget /Rect [70 300 90 320] >>",
    "<< /Parent 8 0 R /Subtype /Widget /Rect [100 300 120 320] /AP << /N << /b 16 0 R >> >> >>",
    "<< /FT /Ch /T (f) /Opt [(x) [(y) (Why)] 3] /Subtype /Widget /Rect [10 200 110 280] >>",
    "<< /FT /Ch /Ff 131072 /T (g) /Subtype /Widget /Rect [120 260 220 280] /DA (/ZaDb 9 Tf) >>",
    "<< /FT /Tx /Ff 16781312 /MaxLen 4 /T (h) /Subtype /Widget /Rect [230 100 310 120] >>",
    "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>",
    "<< /Type /Font /Subtype /TrueType /BaseFont /Other /FirstChar 32 /LastChar 40 "
    "/Widths [250 300 -1 1e9 500] /Encoding << /Differences [33 /Euro /a65] >> >>",
    "<< /Type /XObject /Subtype /Form /BBox [0 0 200 20] /Length 26 >>\nstream\n"
    "0.9 g /Tx BMC (old) Tj EMC\nendstream",
};

std::string Form() {
    return FuzzPdf(std::vector<std::string>(std::begin(kObjects), std::end(kObjects)));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const std::string form = Form();
    PDFormDocument output;
    PDFormTemplate input;
    if (!input.OpenMemory(reinterpret_cast<const uint8_t*>(form.data()),
                          static_cast<int64_t>(form.size())))
        return 0;
    output.CreateInMemory();
    if (size >= 2)
        output.SetFontSizeLimits(static_cast<float>(data[0]) * 0.25f,
                                 static_cast<float>(data[1]) * 0.25f);
    output.AttachTemplate(input);
    if (size >= 2 && (data[1] & 1) != 0)
        output.DeleteField(PDStr(data[1] & 2 ? "e" : "a"));
    if (size >= 2 && (data[1] & 4) != 0)
        output.AddTextField(PDStr(data[1] & 8 ? "new.kid" : "b.kid"), 0, data[0], 10, 50, 20,
                            data[1] >> 4, 0);
    output.SetFlatten(size >= 2 && (data[1] & 64) != 0 ? 0 : -1);
    std::string text(reinterpret_cast<const char*>(data), size);
    static const char* const kNames[] = {"a", "b", "c", "d", "e", "f", "g", "h"};
    size_t field = 0;
    for (size_t at = size >= 2 ? 2 : size; at <= text.size(); ++field) {
        size_t end = text.find('\n', at);
        end = end == std::string::npos ? text.size() : end;
        output.SetValue(PDStr(kNames[field % 8]), PDStr(text.substr(at, end - at).c_str()));
        at = end + 1;
    }
    output.ImportPages();
    output.WriteCatalog();
    output.Close();
    int64_t length = 0;
    (void)output.TakeImage(&length);
    return 0;
}
