#include "forms/form_flatten.h"

#include "fonts/pdcontentbalance.h"
#include "forms/form_text.h"
#include "pdf/pddecode.h"
#include "pdf/pdformat.h"
#include "pdf/pdwriter.h"
#include "streams/pdlimits.h"
#include "structure/pdoutput.h"

#include <cmath>
#include <vector>

namespace {

constexpr uint32_t kHidden = 1u << 1;
constexpr uint32_t kNoView = 1u << 5;
// Narrower appearances are drawn this wide.
constexpr float kNarrowest = 8.0f;

bool IsWidget(PDFormTemplate& form, const PDValue* annot) {
    const PDValue* subtype = annot != nullptr ? form.Resolve(annot->Get("/Subtype")) : nullptr;
    return subtype != nullptr && subtype->IsName("/Widget");
}

} // namespace

PDValue* PDFlattener::Inherited(PDValue* dict, const char* key) {
    return m_form.Resolve(m_form.LookupInherited(dict, key));
}

PDPlacement PDFlattener::Place(PDValue& widget, bool withRotation) {
    PDPlacement p;
    if (withRotation) {
        PDValue* mk = Inherited(&widget, "/MK");
        PDValue* r =
            mk != nullptr && mk->Kind() == kPDDictionary ? m_form.Resolve(mk->Get("/R")) : nullptr;
        if (r != nullptr && r->Kind() == kPDInteger)
            p.rotation = ((r->GetInt() % 360) + 360) % 360;
    }
    PDValue* rect = Inherited(&widget, "/Rect");
    if (rect != nullptr && rect->Kind() == kPDArray && rect->ElementCount() >= 4) {
        double c[4];
        for (int i = 0; i < 4; ++i) {
            PDValue* e = m_form.Resolve(rect->Element(i));
            c[i] = e != nullptr ? e->GetReal() : 0.0;
        }
        p.x = static_cast<float>(c[0]);
        p.y = static_cast<float>(c[1]);
        p.width = static_cast<float>(c[2] - c[0]);
        p.height = static_cast<float>(c[3] - c[1]);
    }
    if (p.width < 0) {
        p.width = -p.width;
        p.x -= p.width;
    }
    // Deliberate: only the width has a floor.
    if (p.width < kNarrowest)
        p.width = kNarrowest;
    if (p.height < 0) {
        p.height = -p.height;
        p.y -= p.height;
    }
    switch (p.rotation) {
    case 90:
        p.x += p.width;
        break;
    case 180:
        p.x += p.width;
        p.y += p.height;
        break;
    case 270:
        p.y += p.height;
        break;
    default:
        break;
    }
    if (p.rotation == 90 || p.rotation == 270)
        std::swap(p.width, p.height);
    return p;
}

std::string PDFlattener::PlacementText(const PDPlacement& p) {
    std::string text = "q ";
    switch (p.rotation) {
    case 0:
        text += "1 0 0 1 ";
        break;
    case 90:
        text += "0 1 -1 0 ";
        break;
    case 180:
        text += "-1 0 0 -1 ";
        break;
    case 270:
        text += "0 -1 1 0 ";
        break;
    default:
        break; // deliberate: an odd turn leaves only the two operands of the position
    }
    return text + PDNumber(p.x) + " " + PDNumber(p.y) + " cm\n";
}

// A form XObject is drawn by name ("/frm" and the number the output gives it, so widgets sharing
// an appearance share the name); any other appearance is copied in, with its fonts.
std::string PDFlattener::DrawWidget(PDInputObj& page, PDValue& widget) {
    PDValue* f = m_form.Resolve(widget.Get("/F"));
    auto flags = static_cast<uint32_t>(f != nullptr && f->Kind() == kPDInteger ? f->GetInt() : 0);
    if ((flags & (kHidden | kNoView)) != 0)
        return {};
    PDValue* ap = m_form.Resolve(widget.Get("/AP"));
    PDValue* normalRef = ap != nullptr && ap->Kind() == kPDDictionary ? ap->Get("/N") : nullptr;
    PDValue* normal = m_form.Resolve(normalRef);
    if (normal != nullptr && normal->Kind() == kPDDictionary && !normal->HasStream()) {
        // A set of states: the one /AS names.
        PDValue* as = m_form.Resolve(widget.Get("/AS"));
        normalRef = as != nullptr && as->IsName() ? normal->Get(as->Text().Text()) : nullptr;
        normal = m_form.Resolve(normalRef);
    }
    if (normal == nullptr || normal->Kind() != kPDDictionary || !normal->HasStream())
        return {};
    PDValue* subtype = m_form.Resolve(normal->Get("/Subtype"));
    bool form = subtype != nullptr && subtype->IsName("/Form") && normalRef != nullptr &&
                normalRef->Kind() == kPDReference;
    std::string body;
    // A page without resources gets its own, to name what it now draws.
    if (m_form.PageResources(page) == nullptr)
        page.Value()->Dict()->Set("/Resources", PDValue::MakeDictionary());
    if (form) {
        int32_t n = normalRef->Number();
        int32_t mapped = m_form.Output()->MapId(n, m_form.MapIndex());
        if (mapped >= PDWriter::kOutputBias)
            mapped -= PDWriter::kOutputBias;
        std::string name = "/frm" + std::to_string(mapped);
        m_form.AddResource(page, "/XObject", name.c_str(), n);
        body = name + " Do\n";
    } else {
        PDStr content;
        if (DecodeStream(*normal, content, &m_form) != 1)
            return {};
        body = content.ToString();
        PDValue* resources = m_form.Resolve(normal->Get("/Resources"));
        PDValue* fonts = resources != nullptr ? m_form.ResolveKey(resources, "/Font") : nullptr;
        PDValue* font = nullptr;
        const char* key = nullptr;
        for (int i = 0; fonts != nullptr && fonts->Kind() == kPDDictionary &&
                        fonts->Dict()->Entry(i, &font, &key);
             ++i) {
            if (font != nullptr && font->Kind() == kPDReference)
                m_form.AddResource(page, "/Font", key, font->Number());
        }
    }
    return PlacementText(Place(widget, !form)) + body + "\nQ\n";
}

void PDFlattener::FlattenPage(PDInputObj& page) {
    PDValue* dict = page.Value();
    PDValue* annots = dict != nullptr ? m_form.Resolve(dict->GetSlot(pdkey::Annots)) : nullptr;
    if (annots == nullptr || annots->Kind() != kPDArray)
        return;
    std::unique_ptr<PDValue> kept = PDValue::MakeArray();
    std::string groups;
    bool dropped = false;
    for (PDValue* a = annots->First(); a != nullptr; a = a->Next()) {
        PDValue* annot = m_form.Resolve(a);
        if (annot == nullptr || annot->Kind() != kPDDictionary || !IsWidget(m_form, annot)) {
            kept->Append(a->Copy());
            continue;
        }
        dropped = true;
        groups += DrawWidget(page, *annot);
    }
    if (!dropped)
        return;
    if (kept->First() != nullptr)
        dict->Dict()->SaveAttrVal(pdkey::Annots, std::move(kept));
    else
        dict->Dict()->RemoveSlot(pdkey::Annots);
    if (groups.empty())
        return;
    // The page's own content is read once: content that ends in another graphics state than it
    // began with (a save without its restore, a transformation outside any save) would move or
    // tint the burnt-in fields, so it is closed into a saved state of its own first. The fields
    // are marked as artifacts, so that a tagged page stays valid.
    PDValue* old = dict->GetSlot(pdkey::Contents);
    PDValue* resolved = m_form.Resolve(old);
    std::vector<PDValue*> parts;
    if (resolved != nullptr && resolved->Kind() == kPDArray) {
        for (PDValue* e = resolved->First(); e != nullptr; e = e->Next())
            parts.push_back(e);
    } else if (old != nullptr) {
        parts.push_back(old);
    }
    std::string content;
    for (PDValue* part : parts) {
        PDValue* s = m_form.Resolve(part);
        PDStr decoded;
        if (s != nullptr && s->Kind() == kPDDictionary && DecodeStream(*s, decoded, &m_form) == 1)
            content.append(decoded.View()).push_back('\n');
    }
    bool wrap = !PDCheckContentBalance(m_form, m_form.PageResources(page),
                                       reinterpret_cast<const uint8_t*>(content.data()),
                                       static_cast<int64_t>(content.size()))
                     .Clean();
    auto stream = [this](const std::string& text) {
        std::unique_ptr<PDValue> s = PDValue::MakeDictionary();
        s->AssignStream(reinterpret_cast<const uint8_t*>(text.data()),
                        static_cast<int64_t>(text.size()), nullptr);
        return m_form.NewObj(std::move(s))->Number();
    };
    std::unique_ptr<PDValue> contents = PDValue::MakeArray();
    if (wrap)
        contents->Append(PDValue::MakeReference(stream("q\n")));
    for (PDValue* part : parts)
        contents->Append(part->Copy());
    std::string text(wrap ? "Q\n" : "\n");
    text.append("/Artifact BMC\n").append(groups).append("EMC\n");
    contents->Append(PDValue::MakeReference(stream(text)));
    dict->Dict()->SaveAttrVal(pdkey::Contents, std::move(contents));
}
