// The reference walker of the transfer. It keeps its own stack of open objects and value
// positions, so neither long /Next chains nor deep nesting use the thread's stack.
#include "structure/pdrefcopier.h"

#include "pdf/pdkeys.h"
#include "streams/pdlimits.h"
#include "structure/pdinput.h"
#include "structure/pdoutput.h"

#include <memory>
#include <unordered_set>
#include <vector>

namespace {

// One open array or dictionary inside the value of a frame.
struct Cursor {
    PDValue* container;
    PDValue* element = nullptr; // arrays: the next element
    int entry = 0;              // dictionaries: the next entry
    int key = -1;               // arrays: the key slot of the entry holding the array
    const char* keyText = nullptr;
};

} // namespace

struct RefCopier::State {
    // One object whose value is being walked (the first frame is the value given to Walk).
    struct Frame {
        std::unique_ptr<PDInputObj> owned; // a temporary read for this walk only
        PDInputObj* target = nullptr;
        int key = -1;  // key slot of the reference that opened the frame
        int kind = -1; // kind of the current object while the value is walked; -1 for none
        int depth = 0;
        int32_t saved = 0; // the deferred number put aside when the frame opened
        std::vector<Cursor> cursors;
        // Numbers to visit before the walk goes on, last first. Targets deferred by a finished
        // child land here, so a /Next chain is followed at one depth instead of one level each.
        std::vector<int32_t> pending;
    };

    std::vector<std::unique_ptr<Frame>> frames;
    int32_t deferred = 0;
    std::unordered_set<int32_t> followed; // guards cycles when no copied flags exist
};

RefCopier::RefCopier(PDFInput& input, PDOutputDoc& output, bool caching)
    : m_input(input), m_output(output), m_caching(caching) {}

RefCopier::~RefCopier() = default;

bool RefCopier::Filter(PDInputObj& target) {
    (void)target;
    return true;
}

bool RefCopier::Skip(int keySlot, const char* keyText, int depth) {
    (void)keySlot;
    (void)keyText;
    (void)depth;
    return false;
}

namespace {

// Opens the walk of value inside frame: a reference is visited as it stands, a container is
// entered.
template <class Frame> void EnterValue(Frame& frame, PDValue* value, int key, const char* keyText) {
    if (value == nullptr)
        return;
    if (value->Kind() == kPDReference)
        frame.pending.push_back(value->Number());
    else if (value->Kind() == kPDArray)
        frame.cursors.push_back(Cursor{value, value->First(), 0, key, keyText});
    else if (value->Kind() == kPDDictionary && value->Dict() != nullptr)
        frame.cursors.push_back(Cursor{value, nullptr, 0, -1, nullptr});
}

} // namespace

void RefCopier::Walk(PDValue& value, PDIndirectObj* current) {
    State state;
    State* outer = m_state;
    m_state = &state;
    auto root = std::make_unique<State::Frame>();
    root->kind = current != nullptr ? current->Kind() : -1;
    if (current != nullptr)
        state.followed.insert(current->Number());
    EnterValue(*root, &value, -1, nullptr);
    state.frames.push_back(std::move(root));
    while (!state.frames.empty())
        Step(state);
    m_state = outer;
}

void RefCopier::Step(State& state) {
    State::Frame& frame = *state.frames.back();
    if (!frame.pending.empty()) {
        int32_t n = frame.pending.back();
        frame.pending.pop_back();
        VisitReference(state, -1, nullptr, n);
        return;
    }
    if (frame.cursors.empty()) {
        CloseFrame(state);
        return;
    }
    Cursor& cursor = frame.cursors.back();
    if (cursor.container->Kind() == kPDArray) {
        PDValue* element = cursor.element;
        if (element == nullptr) {
            frame.cursors.pop_back();
            return;
        }
        cursor.element = element->Next();
        int key = cursor.key;
        const char* keyText = cursor.keyText;
        if (element->Kind() == kPDReference)
            VisitReference(state, key, keyText, element->Number()); // elements stay in place
        else
            EnterValue(frame, element, key, keyText);
        return;
    }
    PDDict* dict = cursor.container->Dict();
    PDValue* value = nullptr;
    int slot = 0;
    if (!dict->EntrySlot(cursor.entry, &value, &slot)) {
        frame.cursors.pop_back();
        return;
    }
    int entry = cursor.entry++;
    int key = slot < pdkey::kWellKnownCount ? slot : -1;
    const char* keyText = dict->KeyText(slot);
    if (value == nullptr || value->Kind() != kPDReference) {
        EnterValue(frame, value, key, keyText);
        return;
    }
    // Visiting may open a new frame, but never touches this frame's cursors.
    if (VisitReference(state, key, keyText, value->Number()) == Outcome::kDrop) {
        dict->RemoveSlot(slot);
        frame.cursors.back().entry = entry;
    }
}

RefCopier::Outcome RefCopier::VisitReference(State& state, int key, const char* keyText,
                                             int32_t n) {
    const State::Frame& frame = *state.frames.back();
    const int depth = frame.depth;
    const int currentKind = frame.kind;
    if (Skip(key, keyText, depth) || key == pdkey::Dest)
        return Outcome::kKeep;
    if (key == pdkey::Next && state.deferred == 0 && depth >= 2) {
        if (m_input.NeedsCopy(n))
            state.deferred = n;
        return Outcome::kKeep;
    }
    if (key == pdkey::Parent &&
        (currentKind < 0 || currentKind == kPDObjPage || currentKind == kPDObjKeepKind))
        return Outcome::kKeep;
    if (depth > pdlimits::kMaxCopyDepth || !m_input.NeedsCopy(n) || m_input.IsHeld(n) ||
        state.followed.count(n) != 0)
        return Outcome::kKeep;

    std::unique_ptr<PDInputObj> owned;
    PDInputObj* target = m_caching ? m_input.GetObj(n) : m_input.PeekObj(n);
    if (target == nullptr && !m_caching) {
        owned = std::make_unique<PDInputObj>(&m_input, n);
        if (m_input.LoadObject(*owned, n))
            target = owned.get();
    }
    if (target == nullptr)
        return Outcome::kDrop;
    // A page or node reached before the page walk (through a widget's /P, say) is one even
    // without /Type: the walk writes it, as a page, never this copier as a plain object.
    if (target->Kind() == kPDObjPages || target->Kind() == kPDObjPage || m_input.IsPageObject(n))
        return Outcome::kKeep;
    if (!Filter(*target))
        return Outcome::kDrop;

    m_input.MarkCopied(n, true);
    state.followed.insert(n);
    if (key != pdkey::Annots && !target->TransferToOutput(m_output))
        return Outcome::kKeep;
    if (currentKind >= 0 && (currentKind == kPDObjKeepKind ||
                             (target->Kind() == kPDObjOther && currentKind != kPDObjPage)))
        target->SetKind(currentKind);

    auto child = std::make_unique<State::Frame>();
    child->owned = std::move(owned);
    child->target = target;
    child->key = key;
    child->kind = target->Kind();
    child->depth = depth + 1;
    child->saved = state.deferred;
    state.deferred = 0;
    EnterValue(*child, target->Value(), -1, nullptr);
    state.frames.push_back(std::move(child));
    return Outcome::kKeep;
}

void RefCopier::CloseFrame(State& state) {
    int32_t deferred = state.deferred;
    state.deferred = 0;
    if (state.frames.size() == 1) {
        // The walked value itself: what it deferred is visited at its own level.
        if (deferred != 0)
            state.frames.back()->pending.push_back(deferred);
        else
            state.frames.pop_back();
        return;
    }
    std::unique_ptr<State::Frame> done = std::move(state.frames.back());
    state.frames.pop_back();
    // Annotations are written after what they reference, so their appearance is in place.
    if (done->key == pdkey::Annots)
        done->target->TransferToOutput(m_output);
    State::Frame& parent = *state.frames.back();
    if (deferred != 0)
        parent.pending.push_back(deferred);
    if (done->saved != 0)
        parent.pending.push_back(done->saved);
}
