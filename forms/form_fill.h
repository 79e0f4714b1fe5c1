// PDFieldFiller: applies the values waiting in a template to its fields before the pages are
// carried over: /V of each assigned field, and the state and appearance of each of its widgets.
#pragma once

#include "fonts/pdfontfactory.h"
#include "forms/form_fallback.h"
#include "forms/form_layout.h"
#include "forms/form_template.h"
#include "streams/pdstr.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

struct PDFillLimits {
    float largest = 12.0f; // auto-sized text starts no larger
    float smallest = 5.0f; // and shrinks no further
};

class PDFieldFiller {
public:
    // Warnings for the user (one line each, without the line end) are appended to warnings.
    // Characters the fields' fonts cannot show are drawn in fontFiles first, then in system fonts.
    PDFieldFiller(PDFormTemplate& form, PDFillLimits limits, std::vector<std::string>& warnings,
                  std::vector<std::string> fontFiles = {});
    ~PDFieldFiller();

    // Applies every pending value to the field it names; names that match no field are warned
    // about afterwards.
    void FillAll();

private:
    struct Widget {
        PDValue* dict = nullptr;
        int index = 0; // among the field's widgets
    };
    struct Appearance;

    void Fill(PDValue& field, const std::string& name, const PDPendingValue& pending);
    void FillText(PDValue& field, const std::string& name, const std::u32string& value);
    void FillButton(PDValue& field, const std::string& name, const std::string& value, bool radio);
    void FillChoice(PDValue& field, const std::string& name, const std::u32string& value,
                    const std::string& bytes);

    std::vector<Widget> WidgetsOf(PDValue& field);
    PDValue* Inherited(PDValue* dict, const char* key);
    int InheritedInt(PDValue* dict, const char* key, int fallback);
    PDValue* Resolved(PDValue* value);

    // Appearance of text drawn in a box: a single or multi-line text field, or a combo box.
    bool BuildTextAppearance(PDValue& field, Widget& widget, const std::string& name,
                             const std::u32string& value);
    bool BuildListAppearance(PDValue& field, Widget& widget, const std::string& name,
                             const std::vector<std::u32string>& options, int selected);
    bool PrepareAppearance(PDValue& field, Widget& widget, Appearance& ap);
    void ChooseFont(PDValue& field, Widget& widget, Appearance& ap);
    bool DrawFallback(Appearance& ap, const std::u32string& value, const std::string& name,
                      bool oneLine, std::vector<PDLayoutChar>& chars);
    std::vector<PDLayoutChar> Characters(const Appearance& ap, const std::u32string& value,
                                         const std::string& name, bool oneLine);
    int32_t WriteAppearance(Appearance& ap, const std::string& content, PDValue* keepDict);
    void SetNormalAppearance(PDValue& widget, int32_t stream);

    // Check boxes and radio buttons.
    std::vector<std::string> OnStates(PDValue& widget);
    void GiveButtonAppearance(PDValue& field, Widget& widget, const std::string& onState);

    int32_t FontObject(const std::string& resourceName, const char* baseFont);
    PDValue* FormResources();
    PDValue* FontResource(PDValue* widget, PDValue* appearance, const std::string& resourceName);

    PDFormTemplate& m_form;
    PDFillLimits m_limits;
    std::vector<std::string>& m_warnings;
    PDFontFactory m_fonts;
    std::map<std::string, int32_t> m_standardFonts; // resource name -> new font object
    PDFallbackFonts m_fallback;
};
