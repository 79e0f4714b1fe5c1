// PDFormTemplate: the template of a run, an input document with access to its form fields.
#pragma once

#include "forms/form_describe.h"
#include "streams/pdstr.h"
#include "structure/pdinput.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

struct PDFieldInfo {
    // Texts as UTF-8 (each part of the name converted from PDFDocEncoding or UTF-16 on its own).
    PDStr name;                   // fully qualified
    PDStr value;                  // /V: decoded string, or decoded name
    PDStr tooltip;                // /TU
    uint16_t fieldFlags = 0;      // /Ff
    uint16_t annotationFlags = 0; // /F
};

struct PDWidgetInfo {
    float x = 0, y = 0, width = 0, height = 0;
    int page = 0;       // counting from 1; 0 when no page holds the widget
    int fontIndex = -1; // in the form font list
    float fontSize = 0;
};

class PDFormDocument;

// A value waiting to be applied when the pages are imported.
struct PDPendingValue {
    PDStr value;
    int32_t option1 = -1;
    int32_t option2 = -1;
    int32_t option3 = 0;
};

class PDFormTemplate : public PDFInput {
public:
    PDFormTemplate();
    ~PDFormTemplate() override;

    // Field number counts from 1 in depth-first order of /Fields. False (texts emptied) when there
    // is no such field.
    bool GetField(int field, PDFieldInfo& info);
    // Widget number counts from 1. False when the field has no such widget.
    bool GetWidget(int field, int widget, PDWidgetInfo& info);
    // The field dictionary with this fully-qualified name; null when there is none.
    PDValue* FindField(const PDStr& name);
    // Fully-qualified name of a field dictionary, as the bytes of the file.
    PDStr FullName(const PDValue* field);
    // The same as UTF-8.
    PDStr FullNameUtf8(const PDValue* field);
    // The listing: one line per widget, "%*s %s : %s\n" with names and values as UTF-8.
    std::string ListFields();
    // Every field the listing shows, in its order, with its widgets.
    std::vector<PDFieldDescription> DescribeFields();

    // Deletes the field of this fully-qualified name (matched byte for byte, else as UTF-8 part by
    // part): it leaves /Fields or its parent's /Kids and is marked /Deleted, and a parent whose
    // last kid goes goes too. False with error 1016 when no field has the name, 1006 when the
    // document has no form.
    bool DeleteField(const PDStr& name);
    // True when the field or widget (object number, 0 when written in place), or a field above
    // it, was deleted.
    bool IsDeleted(const PDValue* node, int32_t number);
    bool HasDeletions() const noexcept { return !m_deleted.empty() || m_deletedAny; }

    // Adds a text field (a merged field and widget) named name on the page of this index (from
    // 0) at the rectangle, drawn in the form font of this index at size (0: sized to fit). A
    // dotted name goes under its parent field, made when missing. False when the name exists,
    // the page or font does not, or a parent cannot take kids.
    bool AddTextField(const std::string& name, int pageIndex, float x, float y, float width,
                      float height, int font, float size);

    // Forgets what was learnt about the field tree (after the tree was changed or re-read).
    void ForgetFields();

    // The pending value table, by fully-qualified name: the last value set for a name wins.
    void SetPendingValue(const PDStr& name, PDPendingValue value);
    const PDPendingValue* PendingValue(const PDStr& name) const;
    // Names with a pending value, in the order they were first set.
    const std::vector<std::string>& PendingNames() const noexcept { return m_pendingOrder; }

    // Terminal fields (those the listing shows), counted from 1 in its order; null when out of
    // range or unreadable. The dictionary lives in the object cache: use it at once.
    int TerminalCount();
    PDValue* TerminalField(int field);
    // The same field, to be changed: it and its widgets stay cached until the output has
    // written them.
    PDValue* EditTerminalField(int field);

    // The document this template is attached to (not owned), and how many documents use it.
    PDFormDocument* Document() const noexcept { return m_document; }
    void SetDocument(PDFormDocument* document) noexcept { m_document = document; }
    int UseCount() const noexcept { return m_useCount; }
    void AddUse() noexcept { ++m_useCount; }

    // Each page is offered to the attached document before it is written.
    bool AcceptPage(PDInputObj& page) override;

private:
    // A terminal field, found again through the object cache whenever it is needed: a cached
    // value may be released or read anew, so no pointer into it is kept. A field written in place
    // in its parent's /Kids is reached from the nearest indirect object above it (0: the form's
    // /Fields array) by the indices in path.
    struct Terminal {
        int32_t objNum; // the field's own number; 0 when it is not an indirect object
        int32_t holder; // the indirect object path starts from
        std::vector<uint16_t> path;
    };
    void CollectFields();
    void CollectNode(PDValue* node, const Terminal& at, int depth, bool& counted);
    PDValue* FormFields();
    PDValue* TerminalDict(const Terminal& t);
    PDValue* WidgetDict(PDValue* field, const Terminal& t, int widget, int32_t& objNum);
    int PageOf(int32_t widgetObj, const PDValue* widget);
    void CollectPages();
    bool DefaultAppearance(const PDValue* widget, const PDValue* field, PDStr& da);
    PDValue* Deref(PDValue* v);
    bool DeleteIn(PDValue& array, std::string_view name, bool utf8, int depth);
    void MarkDeleted(const PDValue& entry, PDValue& field);
    PDValue* FormDictionary();
    PDValue* FindNode(std::string_view name, int32_t& number);
    PDValue* ParentFor(const std::string& name, int32_t& parentNumber);
    void AddFormFont(int font);
    void DescribeField(PDValue* dict, PDFieldDescription& d);
    void DescribeWidget(PDValue* field, PDValue* widget, int32_t objNum, PDFieldDescription& d);
    void AddStates(PDValue* appearances, PDWidgetDescription& w, PDFieldDescription& d);
    bool NameIsText(const PDValue* field);
    template <class Convert> PDStr JoinName(const PDValue* field, Convert convert);

    std::unordered_map<std::string, PDPendingValue> m_pending;
    std::vector<std::string> m_pendingOrder;
    std::unordered_set<int32_t> m_deleted; // fields deleted, by object number
    bool m_deletedAny = false;
    PDFormDocument* m_document = nullptr;
    int m_useCount = 0;
    std::vector<Terminal> m_terminals;
    std::unordered_map<int32_t, bool> m_visited;
    std::unordered_map<int32_t, int> m_annotPage; // annotation object -> page from 1
    std::unordered_map<int32_t, int> m_pageIndex; // page object -> page from 1
    bool m_fieldsCollected = false;
    bool m_pagesCollected = false;
};
