#include "fonts/pdfontread.h"

#include "pdf/pdreader.h"

const PDValue* PDFollow(PDReader& file, const PDValue* v, std::unique_ptr<PDValue>& keep) {
    for (int depth = 0; v != nullptr && v->Kind() == kPDReference; ++depth) {
        if (depth >= kPDMaxFontRefDepth)
            return nullptr;
        std::unique_ptr<PDValue> next = file.LoadValue(v->Number());
        keep = std::move(next);
        v = keep.get();
    }
    return v;
}

const PDValue* PDFollowKey(PDReader& file, const PDValue& dict, const char* key,
                           std::unique_ptr<PDValue>& keep) {
    return PDFollow(file, dict.Get(key), keep);
}

bool PDIsNumber(const PDValue* v) {
    if (v == nullptr)
        return false;
    if (v->Kind() == kPDInteger)
        return true;
    if (v->Kind() != kPDText)
        return false;
    char c = v->Text().Text()[0];
    return (c >= '0' && c <= '9') || c == '-' || c == '+' || c == '.';
}
