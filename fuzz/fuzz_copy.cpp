// Opens a document from memory and copies it into a new one in memory, as `quillet in -` does:
// pages, form, outline, destinations, catalog and document information.
#include "forms/form_document.h"
#include "forms/form_template.h"
#include "fuzz/fuzz_target.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    PDFormDocument output;
    PDFormTemplate form;
    if (!form.OpenMemory(data, static_cast<int64_t>(size)))
        return 0;
    if (form.IsEncrypted() && !form.SetPassword(""))
        return 0;
    output.CreateInMemory();
    output.AttachTemplate(form);
    PDFieldInfo field;
    if (form.GetField(1, field))
        output.SetValue(field.name, PDStr("fuzz"));
    output.ImportPages();
    output.CopyOutlines();
    output.CopyNamedDestinations();
    output.WriteCatalog();
    output.Close();
    int64_t length = 0;
    (void)output.TakeImage(&length);
    return 0;
}
