// An encrypted document made around the input: the bytes up to the first NUL are the /Encrypt
// dictionary, up to the second the password, the rest the data of a content stream (whose
// dictionary names a crypt filter when the data start with "C") and of a string.
// Contract: no crash, no sanitizer report, no hang; only PDAllocError may escape.
#include "fuzz/fuzz_pdf.h"
#include "fuzz/fuzz_target.h"

#include "pdf/pddecode.h"
#include "structure/pdinput.h"

#include <string>
#include <string_view>

namespace {

constexpr int32_t kObjects = 6;

// The document with the trailer pointing at the /Encrypt object 5 and carrying an /ID.
std::string Document(std::string_view encrypt, std::string_view data) {
    std::string hex;
    for (char ch : data.substr(0, 64)) {
        const auto c = static_cast<unsigned char>(ch);
        hex += {"0123456789abcdef"[c >> 4], "0123456789abcdef"[c & 15]};
    }
    const bool named = !data.empty() && data[0] == 'C';
    std::string pdf = FuzzPdf({
        "<< /Type /Catalog /Pages 2 0 R >>",
        "<< /Type /Pages /Kids [3 0 R] /Count 1 >>",
        "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Contents 4 0 R >>",
        FuzzStream(named ? "/Filter [/Crypt] /DecodeParms [<< /Name /StdCF >>]" : "", data),
        std::string(encrypt),
        "<< /Title <" + hex + "> /Author (x) >>",
    });
    const std::string plain = "/Root 1 0 R >>";
    const size_t at = pdf.rfind(plain);
    if (at != std::string::npos)
        pdf.replace(
            at, plain.size(),
            "/Root 1 0 R /Info 6 0 R /Encrypt 5 0 R "
            "/ID [<00112233445566778899aabbccddeeff><00112233445566778899aabbccddeeff>] >>");
    return pdf;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > 1 << 16)
        return 0;
    std::string_view input(reinterpret_cast<const char*>(data), size);
    const size_t first = input.find('\0');
    const std::string_view encrypt = input.substr(0, first);
    std::string_view rest = first == std::string_view::npos ? "" : input.substr(first + 1);
    const size_t second = rest.find('\0');
    const std::string password(rest.substr(0, second));
    rest = second == std::string_view::npos ? "" : rest.substr(second + 1);

    const std::string pdf = Document(encrypt, rest);
    PDFInput in;
    if (!in.OpenMemory(reinterpret_cast<const uint8_t*>(pdf.data()),
                       static_cast<int64_t>(pdf.size())))
        return 0;
    in.SetPassword(password.c_str());
    for (int32_t n = 1; n <= kObjects; ++n) {
        PDInputObj* obj = in.GetObj(n);
        if (obj != nullptr && obj->Value() != nullptr && obj->Value()->HasStream()) {
            PDStr content;
            DecodeStream(*obj->Value(), content, &in);
        }
    }
    in.ReleaseAll();
    return 0;
}
