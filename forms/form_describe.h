// PDFieldDescription: what a script needs to know about one terminal field, as plain data. The
// template fills it in listing order; the tool decides how to write it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct PDWidgetDescription {
    int page = 0;                    // counting from 1; 0 when no page holds the widget
    float rect[4] = {0, 0, 0, 0};    // /Rect as it stands: x1 y1 x2 y2
    int rotation = 0;                // /MK /R
    std::string fontName;            // from the default appearance, without the slash
    float fontSize = 0;              // 0: sized to fit, or no default appearance
    std::vector<std::string> states; // appearance states other than /Off (check boxes, radios)
};

struct PDChoiceOption {
    std::string exportValue;
    std::string text;
};

struct PDFieldDescription {
    // UTF-8 when every part of the name is a text string; otherwise the bytes of the file with
    // '#', controls and bytes above 126 written as #xx, and nameIsText false.
    std::string name;
    bool nameIsText = true;
    std::string kind;               // text, checkbox, radio, combo, list, button, signature
    std::vector<std::string> value; // one entry, several for a multiple choice, none when unset
    bool valueIsList = false;       // /V was an array
    std::string alternateName;      // /TU
    uint32_t fieldFlags = 0;        // /Ff, inherited
    std::vector<std::string> flagNames;
    int maxLength = -1;                // /MaxLen; -1 when absent
    std::vector<std::string> onStates; // of all widgets, in order of first appearance
    std::vector<PDChoiceOption> options;
    std::vector<PDWidgetDescription> widgets;
};

// True when bytes (a decoded string) are a text string: PDFDocEncoding without undefined codes,
// UTF-16 with paired surrogates, or UTF-8 after its byte-order mark.
bool PDIsTextString(const std::string& bytes);
// The bytes with '#', controls, blanks and bytes above 126 written as #xx.
std::string PDEscapeBytes(const std::string& bytes);
