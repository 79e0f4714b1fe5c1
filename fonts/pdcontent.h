// PDContentReader: runs a page's (or form's) decoded content: operators with their operands, the
// text state that places shown text, and form XObjects entered through "Do".
#pragma once

#include "fonts/pdfont.h"
#include "fonts/pdtokenfifo.h"
#include "streams/pdstr.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

class PDFontFactory;
class PDReader;
class PDValue;

// Forms entered through "Do" inside one another; deeper calls are skipped.
inline constexpr int kPDMaxFormDepth = 16;
// Decoded bytes of all the forms one run may enter (each entry also counts kPDFormEntryCost), so
// that forms calling one another many times over cannot make a run endless.
inline constexpr int64_t kPDFormBudget = int64_t{1} << 26;
inline constexpr int64_t kPDFormEntryCost = 256;

// What places shown text: the text matrix, the start of the current line and the spacing.
struct PDContentTextState {
    double matrix[6] = {1, 0, 0, 1, 0, 0};
    double lineMatrix[6] = {1, 0, 0, 1, 0, 0};
    double leading = 0;
    double charSpacing = 0;
    double wordSpacing = 0;
    double scaling = 100; // horizontal, in percent
    double size = 0;
    const PDFont* font = nullptr; // owned by the font factory; null when none could be loaded
};

// One shown string.
struct PDShownText {
    PDStr text;   // UTF-16BE, from the font (the default text encoding without a font)
    double x = 0; // where it starts: the origin of text space through the text matrix
    double y = 0;
    double width = 0; // its advance in text space units (0 without a font)
    double size = 0;
    const PDFont* font = nullptr;
    int depth = 0; // 0 for the content run, 1 and more inside forms
};

class PDContentReader {
public:
    // Called for every operator before it takes effect, with its operands and the form depth.
    using OperatorSink = std::function<void(int code, const TokenFIFO& operands, int depth)>;
    using TextSink = std::function<void(const PDShownText& shown)>;

    // resources: the resource dictionary of the content (or a reference to it), not owned, may be
    // null. fonts: where fonts are loaded and kept, not owned; null makes the reader keep its own.
    PDContentReader(PDReader& file, const PDValue* resources, PDFontFactory* fonts = nullptr);
    ~PDContentReader();
    PDContentReader(const PDContentReader&) = delete;
    PDContentReader& operator=(const PDContentReader&) = delete;

    void SetOperatorSink(OperatorSink sink) { m_operatorSink = std::move(sink); }
    // Fonts are loaded and text measured only while a text sink is set.
    void SetTextSink(TextSink sink) { m_textSink = std::move(sink); }
    // Whether "Do" enters form XObjects (on by default).
    void SetEnterForms(bool enter) noexcept { m_enterForms = enter; }

    // Runs decoded content; the bytes are not owned.
    void Run(const uint8_t* data, int64_t length);
    // The text state where the last run ended.
    const PDContentTextState& TextState() const noexcept { return m_text; }

private:
    struct Frame;

    void RunSource(const uint8_t* data, int64_t length, const Frame& frame, int depth);
    void Execute(int code, const TokenFIFO& operands, const Frame& frame, int depth);
    bool ExecuteTextState(int code, const TokenFIFO& operands, const Frame& frame);
    bool ExecuteShow(int code, const TokenFIFO& operands, int depth);
    void SetFont(const Frame& frame, const PDContentToken* name, double size);
    void Show(const PDContentToken* string, int depth);
    void ShowArray(const PDContentToken* array, int depth);
    void MoveLine(double tx, double ty);
    void Advance(double tx);
    void EnterForm(const Frame& frame, const PDContentToken* name, int depth);
    bool IsActive(int32_t objNum) const;

    PDReader& m_file;
    const PDValue* m_resources;
    std::unique_ptr<PDFontFactory> m_ownFonts;
    PDFontFactory* m_fonts;
    OperatorSink m_operatorSink;
    TextSink m_textSink;
    bool m_enterForms = true;
    PDContentTextState m_text;
    std::vector<int32_t> m_activeForms;
    int64_t m_formBudget = kPDFormBudget;
};
