#include "fonts/pdcontent.h"

#include "fonts/pdcontentlexer.h"
#include "fonts/pdcontentops.h"
#include "fonts/pdfontfactory.h"
#include "fonts/pdfontread.h"
#include "pdf/pddecode.h"
#include "pdf/pdreader.h"
#include "pdf/pdstring.h"
#include "streams/pddiag.h"

#include <algorithm>
#include <cstring>

// The resources one content source sees, followed through references once when it starts.
struct PDContentReader::Frame {
    Frame(PDReader& file, const PDValue* resources) {
        const PDValue* res = PDFollow(file, resources, keepResources);
        if (res == nullptr || res->Kind() != kPDDictionary)
            return;
        dict = res;
        fonts = PDFollowKey(file, *res, "/Font", keepFonts);
        xobjects = PDFollowKey(file, *res, "/XObject", keepXObjects);
    }
    // The entry name of the sub-dictionary, when name is a name operand.
    static const PDValue* Entry(const PDValue* table, const PDContentToken* name) {
        if (table == nullptr || name == nullptr || name->kind != kOperandName)
            return nullptr;
        return table->Get(name->text.Text());
    }

    std::unique_ptr<PDValue> keepResources;
    std::unique_ptr<PDValue> keepFonts;
    std::unique_ptr<PDValue> keepXObjects;
    const PDValue* dict = nullptr;
    const PDValue* fonts = nullptr;
    const PDValue* xobjects = nullptr;
};

PDContentReader::PDContentReader(PDReader& file, const PDValue* resources, PDFontFactory* fonts)
    : m_file(file), m_resources(resources), m_fonts(fonts) {
    if (m_fonts == nullptr) {
        m_ownFonts = std::make_unique<PDFontFactory>();
        m_fonts = m_ownFonts.get();
    }
}

PDContentReader::~PDContentReader() = default;

void PDContentReader::Run(const uint8_t* data, int64_t length) {
    m_text = PDContentTextState();
    m_activeForms.clear();
    m_formBudget = kPDFormBudget;
    Frame frame(m_file, m_resources);
    RunSource(data, length, frame, 0);
}

void PDContentReader::RunSource(const uint8_t* data, int64_t length, const Frame& frame,
                                int depth) {
    PDContentLexer lexer(data, length);
    auto operands = std::make_unique<TokenFIFO>();
    for (int code = lexer.NextOperator(*operands); code >= 0;
         code = lexer.NextOperator(*operands)) {
        if (m_operatorSink)
            m_operatorSink(code, *operands, depth);
        Execute(code, *operands, frame, depth);
        operands->Clear();
    }
}

void PDContentReader::Execute(int code, const TokenFIFO& operands, const Frame& frame, int depth) {
    if (ExecuteTextState(code, operands, frame) || ExecuteShow(code, operands, depth))
        return;
    if (code == kOpDo && m_enterForms)
        EnterForm(frame, operands.Operand(0, 1), depth);
}

bool PDContentReader::ExecuteTextState(int code, const TokenFIFO& ops, const Frame& frame) {
    switch (code) {
    case kOpBT:
        m_text.lineMatrix[0] = m_text.lineMatrix[3] = 1;
        m_text.lineMatrix[1] = m_text.lineMatrix[2] = m_text.lineMatrix[4] = m_text.lineMatrix[5] =
            0;
        std::copy(m_text.lineMatrix, m_text.lineMatrix + 6, m_text.matrix);
        return true;
    case kOpTL:
        m_text.leading = ops.Number(0, 1);
        return true;
    case kOpTc:
        m_text.charSpacing = ops.Number(0, 1);
        return true;
    case kOpTw:
        m_text.wordSpacing = ops.Number(0, 1);
        return true;
    case kOpTz:
        m_text.scaling = ops.Number(0, 1);
        return true;
    case kOpTf:
        SetFont(frame, ops.Operand(0, 2), ops.Number(1, 2));
        return true;
    case kOpTD:
        m_text.leading = -ops.Number(1, 2);
        MoveLine(ops.Number(0, 2), ops.Number(1, 2));
        return true;
    case kOpTd:
        MoveLine(ops.Number(0, 2), ops.Number(1, 2));
        return true;
    case kOpTm:
        for (int i = 0; i < 6; ++i)
            m_text.lineMatrix[i] = m_text.matrix[i] = ops.Number(i, 6);
        return true;
    case kOpTStar:
        MoveLine(0, -m_text.leading);
        return true;
    default:
        return false;
    }
}

bool PDContentReader::ExecuteShow(int code, const TokenFIFO& ops, int depth) {
    switch (code) {
    case kOpTj:
        Show(ops.Operand(0, 1), depth);
        return true;
    case kOpNextShow:
        MoveLine(0, -m_text.leading);
        Show(ops.Operand(0, 1), depth);
        return true;
    case kOpShowSpaced:
        // Deliberate: the spacing is set and the string shown on the current line; this operator
        // does not move to the next line here.
        m_text.charSpacing = ops.Number(1, 3);
        m_text.wordSpacing = ops.Number(0, 3);
        Show(ops.Operand(2, 3), depth);
        return true;
    case kOpTJ:
        ShowArray(ops.Operand(0, 1), depth);
        return true;
    default:
        return false;
    }
}

void PDContentReader::SetFont(const Frame& frame, const PDContentToken* name, double size) {
    m_text.size = size;
    m_text.font = nullptr;
    if (!m_textSink)
        return;
    const PDValue* entry = Frame::Entry(frame.fonts, name);
    if (entry != nullptr && entry->Kind() == kPDReference)
        m_text.font = m_fonts->LoadFont(m_file, entry->Number());
}

void PDContentReader::Show(const PDContentToken* string, int depth) {
    if (!m_textSink || string == nullptr || string->kind != kOperandString)
        return;
    PDStr bytes;
    PDDecodeString(string->text, bytes, PDShortOctal::kByte);
    PDShownText shown;
    shown.x = m_text.matrix[4];
    shown.y = m_text.matrix[5];
    shown.size = m_text.size;
    shown.font = m_text.font;
    shown.depth = depth;
    if (m_text.font != nullptr) {
        PDTextState state{m_text.size, m_text.charSpacing, m_text.wordSpacing, m_text.scaling};
        PDGlyphRun run;
        m_text.font->GlyphAdvances(bytes.Bytes(), bytes.Length(), &state, nullptr, run);
        shown.text = std::move(run.text);
        shown.width = run.Width();
    } else {
        for (int i = 0; i < bytes.Length(); ++i)
            PDDefaultTextEncoding().AppendText(bytes.At(i), shown.text);
    }
    Advance(shown.width);
    m_textSink(shown);
}

void PDContentReader::ShowArray(const PDContentToken* array, int depth) {
    const PDValue* first = array != nullptr && array->kind == kOperandArray && array->value
                               ? array->value->First()
                               : nullptr;
    if (first == nullptr) {
        PDReport("operator TJ has empty list\n");
        return;
    }
    for (const PDValue* e = first; e != nullptr; e = e->Next()) {
        if (e->Kind() == kPDString) {
            PDContentToken string;
            string.kind = kOperandString;
            string.text = e->Text();
            Show(&string, depth);
        } else if (PDIsNumber(e)) {
            Advance(e->GetReal() * -0.001 * m_text.size * m_text.scaling / 100);
        } else {
            PDReport("unexpected token in TJ list encountered: %s\n", e->Text().Text());
        }
    }
}

void PDContentReader::MoveLine(double tx, double ty) {
    double* m = m_text.lineMatrix;
    m[4] += tx * m[0] + ty * m[2];
    m[5] += tx * m[1] + ty * m[3];
    std::copy(m, m + 6, m_text.matrix);
}

void PDContentReader::Advance(double tx) {
    m_text.matrix[4] += tx * m_text.matrix[0];
    m_text.matrix[5] += tx * m_text.matrix[1];
}

bool PDContentReader::IsActive(int32_t objNum) const {
    return std::find(m_activeForms.begin(), m_activeForms.end(), objNum) != m_activeForms.end();
}

// A form is decoded and read as content of its own, with its own resources (its caller's when it
// has none); the text state it leaves behind is dropped. A form that is already being read is not
// entered again.
void PDContentReader::EnterForm(const Frame& frame, const PDContentToken* name, int depth) {
    const PDValue* entry = Frame::Entry(frame.xobjects, name);
    if (entry == nullptr || entry->Kind() != kPDReference || depth + 1 > kPDMaxFormDepth ||
        IsActive(entry->Number()) || m_formBudget <= 0)
        return;
    int32_t objNum = entry->Number();
    std::unique_ptr<PDValue> form = m_file.LoadValue(objNum);
    if (form == nullptr || !form->HasStream())
        return;
    std::unique_ptr<PDValue> keepType;
    const PDValue* subtype = PDFollowKey(m_file, *form, "/Subtype", keepType);
    if (subtype != nullptr && subtype->IsName("/Image"))
        return;
    PDStr content;
    if (DecodeStream(*form, content, &m_file) != 1)
        return;
    m_formBudget -= content.Length() + kPDFormEntryCost;
    const PDValue* resources = form->Get("/Resources");
    Frame inner(m_file, resources != nullptr ? resources : frame.dict);
    PDContentTextState saved = m_text;
    m_activeForms.push_back(objNum);
    RunSource(content.Bytes(), content.Length(), inner, depth + 1);
    m_activeForms.pop_back();
    m_text = saved;
}
