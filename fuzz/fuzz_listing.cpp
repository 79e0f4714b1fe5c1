// Opens a document from memory and lists its form fields, as `quillet -l` does.
#include "forms/form_template.h"
#include "fuzz/fuzz_target.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    PDFormTemplate doc;
    if (!doc.OpenMemory(data, static_cast<int64_t>(size)))
        return 0;
    if (doc.IsEncrypted() && !doc.SetPassword(""))
        return 0;
    (void)doc.ListFields();
    PDFieldInfo field;
    if (doc.GetField(1, field))
        doc.FindField(PDStr(field.name.ToString()));
    return 0;
}
