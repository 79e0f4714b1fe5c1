#include "tool/json_listing.h"

#include <nlohmann/json.hpp>

#include <charconv>

namespace {

using Json = nlohmann::ordered_json;

// The float as its shortest text reads back, so 0.1 is written 0.1 and not 0.10000000149.
double Number(float v) {
    char text[32];
    auto end = std::to_chars(text, text + sizeof text, v).ptr;
    double d = 0;
    std::from_chars(text, end, d);
    return d;
}

Json Widget(const PDWidgetDescription& w) {
    Json j;
    j["page"] = w.page;
    j["rect"] =
        Json::array({Number(w.rect[0]), Number(w.rect[1]), Number(w.rect[2]), Number(w.rect[3])});
    j["rotation"] = w.rotation;
    j["font"] = w.fontName.empty() ? Json() : Json(w.fontName);
    j["font_size"] = Number(w.fontSize);
    if (!w.states.empty())
        j["states"] = w.states;
    return j;
}

Json Value(const PDFieldDescription& f) {
    if (f.valueIsList)
        return f.value;
    return f.value.empty() ? Json() : Json(f.value.front());
}

Json Field(const PDFieldDescription& f) {
    Json j;
    j["name"] = f.name;
    if (!f.nameIsText)
        j["name_escaped"] = true;
    j["kind"] = f.kind;
    j["value"] = Value(f);
    j["alternate_name"] = f.alternateName;
    j["flags"] = f.flagNames;
    j["ff"] = f.fieldFlags;
    j["max_length"] = f.maxLength >= 0 ? Json(f.maxLength) : Json();
    if (f.kind == "checkbox" || f.kind == "radio")
        j["on_states"] = f.onStates;
    if (f.kind == "combo" || f.kind == "list") {
        Json options = Json::array();
        for (const PDChoiceOption& o : f.options)
            options.push_back({{"export", o.exportValue}, {"text", o.text}});
        j["options"] = options;
    }
    Json widgets = Json::array();
    for (const PDWidgetDescription& w : f.widgets)
        widgets.push_back(Widget(w));
    j["widgets"] = widgets;
    return j;
}

} // namespace

std::string JsonListing(const std::vector<PDFieldDescription>& fields) {
    Json all = Json::array();
    for (const PDFieldDescription& f : fields)
        all.push_back(Field(f));
    // Texts were made UTF-8 by the form layer; replacing is the guard should one slip through
    // (dump would otherwise throw).
    return all.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}
