#include "structure/pdacroform.h"

#include "pdf/pdstring.h"
#include "structure/pdoutput.h"

#include <string_view>

namespace {

// Every field starts out in Helvetica, black, auto-sized.
constexpr std::string_view kDefaultAppearance = "/Helv 0 Tf 0 g";

bool WriteResources(PDOutputDoc& out) {
    bool ok = out.WriteToken("/DR << /Font") && out.WriteToken("<<");
    for (const auto& [name, number] : out.Fonts().Resources()) {
        std::string key = name;
        if (key.empty() || key[0] != '/')
            key.insert(key.begin(), '/');
        ok = out.WriteToken(key) && out.WriteReference(number, 0) && ok;
    }
    ok = out.WriteToken(">>") && ok;
    if (int32_t encoding = out.Fonts().EncodingNumber(); encoding != 0)
        ok = out.WriteToken("/Encoding") && out.WriteReference(encoding, 0) && ok;
    return out.WriteToken(">>") && ok;
}

} // namespace

bool PDWriteAcroForm(PDOutputDoc& output) {
    PDFieldStore& fields = output.Fields();
    if (!fields.HasFields())
        return true;
    int32_t number = output.NewObjectNumber();
    output.OutputCatalog().Dict()->Set("/AcroForm", PDValue::MakeReference(number));
    bool ok = output.WriteObjectHeader(number, 0);
    ok = output.WriteToken("<< /Fields [") && ok;
    for (int32_t field : fields.TopLevelNumbers())
        ok = output.WriteReference(field, 0) && ok;
    ok = output.WriteToken("]") && ok;
    ok = WriteResources(output) && ok;
    ok = output.WriteToken("/DA") && ok;
    ok = output.WriteStringBytes(reinterpret_cast<const uint8_t*>(kDefaultAppearance.data()),
                                 static_cast<int>(kDefaultAppearance.size()), kPDLiteral) &&
         ok;
    if (fields.CalculationOrder().Count() > 0) {
        ok = output.NewLine() && output.WriteToken("/CO [") && ok;
        for (int32_t field : fields.CalculationOrder())
            ok = output.WriteReference(field, 0) && ok;
        ok = output.WriteToken("]") && output.NewLine() && ok;
    }
    PDValue* value = nullptr;
    const char* key = nullptr;
    const PDValue& entries = output.Fields().FormEntries();
    for (int i = 0; entries.Kind() == kPDDictionary && entries.Dict()->Entry(i, &value, &key);
         ++i) {
        if (value != nullptr)
            ok = output.WriteToken(key) && output.WriteValue(value, 0) && ok;
    }
    ok = output.WriteToken(">>") && ok;
    return output.WriteEndObj() && ok;
}
