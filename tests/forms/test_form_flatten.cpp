// Where a burnt-in appearance goes: the placement of a widget and its text.
#include "forms/form_flatten.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

std::unique_ptr<PDValue> Numbers(const std::vector<const char*>& values) {
    std::unique_ptr<PDValue> array = PDValue::MakeArray();
    for (const char* v : values)
        array->Append(std::make_unique<PDValue>(v));
    return array;
}

} // namespace

TEST(FormFlatten, PlacementOfAWidget) {
    struct Case {
        std::vector<const char*> rect; // empty: none
        const char* rotation;          // /MK /R; null: none
        bool withRotation;
        const char* text;
        float width, height;
    } cases[] = {
        {{"100", "700", "300", "720"}, "90", true, "q 0 1 -1 0 300 700 cm\n", 20, 200},
        {{"100", "700", "300", "720"}, "90", false, "q 1 0 0 1 100 700 cm\n", 200, 20},
        {{"100", "700", "300", "720"}, "180", true, "q -1 0 0 -1 300 720 cm\n", 200, 20},
        {{"100", "700", "300", "720"}, "-90", true, "q 0 -1 1 0 100 720 cm\n", 20, 200},
        {{"100", "700", "300", "720"}, "45", true, "q 100 700 cm\n", 200, 20},
        {{"300", "720", "100", "700"}, nullptr, true, "q 1 0 0 1 100 700 cm\n", 200, 20},
        {{"100", "700", "105", "720"}, nullptr, true, "q 1 0 0 1 100 700 cm\n", 8, 20},
        {{}, nullptr, true, "q 1 0 0 1 0 0 cm\n", 200, 20},
    };
    PDFormTemplate form;
    PDFlattener flattener(form);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        std::unique_ptr<PDValue> widget = PDValue::MakeDictionary();
        if (!c.rect.empty())
            widget->Dict()->Set("/Rect", Numbers(c.rect));
        if (c.rotation != nullptr) {
            std::unique_ptr<PDValue> mk = PDValue::MakeDictionary();
            mk->Dict()->Set("/R", PDValue::MakeInteger(std::stoi(c.rotation)));
            widget->Dict()->Set("/MK", std::move(mk));
        }
        PDPlacement p = flattener.Place(*widget, c.withRotation);
        EXPECT_EQ(PDFlattener::PlacementText(p), c.text);
        EXPECT_EQ(p.width, c.width);
        EXPECT_EQ(p.height, c.height);
    }
}
