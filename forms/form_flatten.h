// PDFlattener: burns the widgets of a template page into its content while the page is imported:
// each widget's normal appearance is drawn where the widget was, and the widget leaves the page.
#pragma once

#include "forms/form_template.h"

#include <cstdint>
#include <string>

// Where an appearance goes on the page: the lower left corner, the size and the turn.
struct PDPlacement {
    float x = 0;
    float y = 0;
    float width = 200;
    float height = 20;
    int rotation = 0;
};

class PDFlattener {
public:
    explicit PDFlattener(PDFormTemplate& form) : m_form(form) {}

    // Draws every widget of the page into its content and removes the widgets from /Annots;
    // annotations of other kinds stay. Hidden widgets and widgets without an appearance to show
    // are dropped without a trace.
    void FlattenPage(PDInputObj& page);

    // The placement of a widget's appearance; rotation is read from /MK /R only when asked.
    PDPlacement Place(PDValue& widget, bool withRotation);
    // "q ", the rotation part, x, y and " cm\n".
    static std::string PlacementText(const PDPlacement& p);

private:
    // The group that draws one widget; empty when it draws nothing.
    std::string DrawWidget(PDInputObj& page, PDValue& widget);
    PDValue* Inherited(PDValue* dict, const char* key);

    PDFormTemplate& m_form;
};
