#include "tool/assignment.h"

#include "tool/form_session.h"
#include "tool/numtext.h"

#include <climits>

namespace {

// Item index of "page,x,y,w,h,font,size" into its slot; false when the text does not fit it.
bool ReadAddItem(int index, std::string_view item, PDAssignment& out) {
    switch (index) {
    case 0:
        return ReadStrictInt(item, out.page);
    case 1:
        return ReadStrictNumber(item, out.x);
    case 2:
        return ReadStrictNumber(item, out.y);
    case 3:
        return ReadStrictNumber(item, out.width);
    case 4:
        return ReadStrictNumber(item, out.height);
    case 5:
        return ReadStrictInt(item, out.font);
    case 6:
        return ReadStrictNumber(item, out.size);
    default:
        return false;
    }
}

// Reading stops at the first item that does not fit; the items not read keep their defaults.
void ReadAddParameters(std::string_view text, PDAssignment& out) {
    for (int index = 0; ReadAddItem(index, text.substr(0, text.find(',')), out); ++index) {
        size_t comma = text.find(',');
        if (comma == std::string_view::npos) {
            return;
        }
        text.remove_prefix(comma + 1);
    }
}

void ParseAdd(std::string_view text, PDAssignment& out) {
    out.kind = PDAssignKind::kAdd;
    size_t equals = text.find('=');
    size_t nameEnd = text.find_first_of("@=");
    out.name = std::string(text.substr(0, nameEnd));
    if (equals != std::string_view::npos) {
        out.value = std::string(text.substr(equals + 1));
    }
    if (nameEnd != std::string_view::npos && text[nameEnd] == '@') {
        // equals is npos or after the '@', so this runs to the '=' or to the end.
        ReadAddParameters(text.substr(nameEnd + 1, equals - (nameEnd + 1)), out);
    }
}

void ParseSet(std::string_view text, PDAssignment& out) {
    out.kind = PDAssignKind::kSet;
    size_t equals = text.find('=');
    out.name = std::string(text.substr(0, equals));
    if (equals != std::string_view::npos) {
        out.value = std::string(text.substr(equals + 1));
    }
}

void CarryOutAdd(const PDAssignment& a, FormSession& session, bool quiet, RunStreams& io) {
    int pageIndex = a.page > INT_MIN ? a.page - 1 : INT_MIN;
    bool added = session.AddTextField(a.name.c_str(), pageIndex, a.x, a.y, a.width, a.height,
                                      a.font, a.size);
    if (!added) {
        std::fprintf(io.out, "add form field failed (%s)\n", a.name.c_str());
    } else if (!quiet) {
        PrintAddedField(io.out, a);
    }
    session.SetFieldValue(a.name.c_str(), a.value.c_str());
}

} // namespace

bool ParseAssignment(std::string_view text, PDAssignment& out) {
    out = PDAssignment();
    if (!text.empty() && text[0] == '-') {
        out.kind = PDAssignKind::kDelete;
        out.name = std::string(text.substr(1));
    } else if (!text.empty() && text[0] == '+') {
        ParseAdd(text.substr(1), out);
    } else {
        ParseSet(text, out);
    }
    return out.name.size() < kFieldNameBuffer;
}

void CarryOutAssignment(std::string_view text, FormSession& session, bool quiet, RunStreams& io) {
    PDAssignment a;
    if (!ParseAssignment(text, a)) {
        // Deliberate: a name too long for the name buffer is rejected whole rather than cut,
        // since a cut name could silently hit another field.
        std::fprintf(io.err, "field name too long (%.40s...)\n", a.name.c_str());
        return;
    }
    switch (a.kind) {
    case PDAssignKind::kDelete:
        session.DeleteField(a.name.c_str());
        break;
    case PDAssignKind::kAdd:
        CarryOutAdd(a, session, quiet, io);
        break;
    case PDAssignKind::kSet:
        session.SetFieldValue(a.name.c_str(), a.value.c_str());
        break;
    }
}

void PrintAddedField(FILE* out, const PDAssignment& added) {
    std::fprintf(out, "add field %s on page %d at %d/%d, w=%d, h=%d, font=%d, size=%3.1f\n",
                 added.name.c_str(), added.page, TruncateToInt(added.x), TruncateToInt(added.y),
                 TruncateToInt(added.width), TruncateToInt(added.height), added.font,
                 static_cast<double>(added.size));
}
