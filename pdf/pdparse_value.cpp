// PDParser: values, dictionaries and indirect objects from tokens.
#include "pdf/pdparse.h"

#include "streams/pddiag.h"
#include "streams/pdlimits.h"

#include <new>

// No file holds an object numbered outside 1..kMaxObjectNumber, so such a reference is a null.
// Kept as a number it could be taken for one of the writer's own output numbers.
void PDParser::SetReferenceOrNull(PDValue& value, int32_t n) {
    if (n > 0 && n <= pdlimits::kMaxObjectNumber) {
        value.SetReference(n);
        return;
    }
    value.MutableText() = "null";
    value.SetKind(kPDText);
}

void PDParser::ParseValue(PDValue& value) {
    switch (m_kind) {
    case kTokInteger:
        value.SetIntegerText(m_token.Text());
        break;
    case kTokReference:
        SetReferenceOrNull(value, TokenNumber());
        break;
    case kTokWord:
    case kTokName:
        value.MutableText() = m_token;
        value.SetKind(kPDText);
        break;
    case kTokString:
        value.MutableText() = m_token;
        value.SetKind(kPDString);
        break;
    case kTokArrayOpen:
        if (m_depth >= pdlimits::kMaxValueDepth)
            SkipNested(value);
        else
            ParseArray(value);
        return;
    case kTokDictOpen:
        if (m_depth >= pdlimits::kMaxValueDepth)
            SkipNested(value);
        else
            ParseDict(value);
        return;
    default:
        PDReport("unexpected value %d %s\n", m_kind, m_token.Text());
        value.SetKind(kPDNone);
        if (m_kind == kTokEnd)
            return;
        break;
    }
    GetToken();
}

// Deliberate: content nested deeper than the cap is read past and dropped; the value is left an
// empty array or dictionary, so the recursion never follows the file's nesting further.
void PDParser::SkipNested(PDValue& value) {
    PDReport("ParseValue: nesting deeper than %d levels cut off\n", pdlimits::kMaxValueDepth);
    if (m_kind == kTokDictOpen)
        value.MakeDict();
    else
        value.SetKind(kPDArray);
    int open = 0;
    do {
        if (m_kind == kTokArrayOpen || m_kind == kTokDictOpen)
            ++open;
        else if (m_kind == kTokArrayClose || m_kind == kTokDictClose)
            --open;
        GetToken();
    } while (open > 0 && m_kind != kTokEnd);
}

void PDParser::ParseArray(PDValue& value) {
    value.SetKind(kPDArray);
    ++m_depth;
    GetToken();
    while (m_kind != kTokArrayClose && m_kind != kTokEnd) {
        std::unique_ptr<PDValue> element(new (std::nothrow) PDValue());
        if (!element) {
            PDReport("new returns NULL\n");
            break;
        }
        if (element->Next() != nullptr)
            PDReport("assertion failed, newEl->m_nextEl != NULL after new\n");
        ParseValue(*element);
        value.Append(std::move(element));
    }
    --m_depth;
    if (m_kind == kTokArrayClose)
        GetToken();
}

void PDParser::ParseDict(PDValue& value) {
    value.MakeDict();
    PDDict* dict = value.Dict();
    if (dict == nullptr) {
        PDReport("new returns NULL\n");
        return;
    }
    // Each dictionary remembers its own /Length; only the outermost one keeps it afterwards, as
    // that is the one a stream belongs to.
    PDValue* outerLength = m_lengthVal;
    bool outermost = m_depth == 0;
    m_lengthVal = nullptr;
    ++m_depth;
    GetToken();
    bool done = false;
    while (!done) {
        switch (m_kind) {
        case kTokDictClose:
            GetToken();
            done = true;
            break;
        case kTokName:
            OnName(*dict);
            break;
        case kTokInteger:
        case kTokReference:
        case kTokWord:
        case kTokArrayOpen:
        case kTokString:
            PDReport("error parsing dictionary, key expected (%s)\n", m_token.Text());
            m_kind = kTokEnd;
            done = true;
            break;
        case kTokEnd:
            done = true;
            break;
        default:
            GetToken();
            break;
        }
    }
    --m_depth;
    if (!outermost)
        m_lengthVal = outerLength;
    dict->Compact();
}

// One key and its value. The entry is made before its value is parsed, so the table keeps the
// keys in the file's order.
void PDParser::OnName(PDDict& dict) {
    int slot = dict.Intern(m_token.Text(), m_token.Length());
    PDValue* value = nullptr;
    if (slot >= 0) {
        dict.SaveAttrVal(slot, std::make_unique<PDValue>());
        value = dict.GetSlot(slot);
    }
    PDValue scratch; // takes the value of a key the table has no room for
    if (value == nullptr)
        value = &scratch;
    m_lastSlot = slot;
    bool lengthSeen = false;
    if (slot == pdkey::Length) {
        lengthSeen = m_lengthVal != nullptr;
        m_lengthVal = nullptr; // the table has just replaced (and destroyed) an earlier /Length
    }
    GetToken();
    if (slot == pdkey::Length) {
        if (m_kind != kTokInteger && m_kind != kTokReference) {
            PDReport("/Length: number or reference expected\n");
            return;
        }
        if (lengthSeen)
            PDReport("OnName: /Length encountered more than once\n");
        ParseValue(*value);
        if (value != &scratch)
            m_lengthVal = value;
    } else if (m_kind != kTokEnd) {
        ParseValue(*value);
    }
    // A reference whose generation and R were not caught by the look-ahead: "n" "g" "R".
    if (value->Kind() == kPDReference && m_kind == kTokInteger && NextIsLoneR()) {
        GetToken();
        SetReferenceOrNull(*value, m_source.Host().LoadedObjectNumber(value->Number()));
        GetToken();
    }
}

bool PDParser::ParseIndirectObject() {
    m_value.reset();
    m_lengthVal = nullptr;
    m_depth = 0;
    GetToken();
    if (m_kind != kTokObjHeader)
        return false;
    m_objNum = TokenNumber();
    m_objGen = m_generation;
    GetToken();
    m_value = std::make_unique<PDValue>();
    ParseValue(*m_value);
    if (m_noStreams || m_kind != kTokWord || PDClassifyKeyword(m_token.Text()) != 2)
        return true;
    return ReadStream(*m_value);
}
