// Deep copy and reference renumbering: both walk whole value trees with explicit stacks, so that
// neither the length of an array nor the depth of nesting is limited by the thread's stack.
#include "pdf/pdvalue.h"

#include "streams/pddiag.h"

#include <utility>

namespace {

template <class T> using Stack = std::vector<T, PDAllocator<T>>;

} // namespace

// A node with everything but its children; null (with a report) when memory runs out.
PDValue* PDValue::CopyNode() const {
    auto* v = new (std::nothrow) PDValue();
    if (v == nullptr) {
        PDReport("new returns NULL\n");
        return nullptr;
    }
    v->m_kind = m_kind;
    v->m_number = m_number;
    if (m_payload == kTextPayload) {
        new (&v->m_body.text) PDStr(m_body.text);
        v->m_payload = kTextPayload;
    } else if (m_payload == kDictPayload) {
        v->m_body.dict = new PDDict();
        v->m_payload = kDictPayload;
        if (const PDDict::Stream* stream = m_body.dict->m_stream.get())
            v->m_body.dict->m_stream = std::make_unique<PDDict::Stream>(*stream);
    }
    return v;
}

std::unique_ptr<PDValue> PDValue::Copy() const {
    std::unique_ptr<PDValue> root(CopyNode());
    if (root == nullptr)
        return nullptr;
    Stack<std::pair<const PDValue*, PDValue*>> work;
    work.emplace_back(this, root.get());
    while (!work.empty()) {
        auto [src, dst] = work.back();
        work.pop_back();
        // Elements keep their order; the stored count came over with the number slot.
        const PDValue* chain = src->m_payload == kChainPayload ? src->m_body.chain.first : nullptr;
        for (const PDValue* e = chain; e != nullptr; e = e->m_next) {
            PDValue* copy = e->CopyNode();
            if (copy == nullptr)
                continue;
            dst->LinkLast(copy);
            work.emplace_back(e, copy);
        }
        const PDDict* from = src->Dict();
        PDDict* to = dst->Dict();
        if (from == nullptr || to == nullptr)
            continue;
        for (const auto& item : from->m_entries) {
            const int slot = item.slot;
            const PDValue* v = item.value.get();
            if (v == nullptr)
                continue;
            std::string_view key = from->KeyView(slot);
            int target = slot < from->SlotsInUse()
                             ? to->Intern(key.data(), static_cast<int>(key.size()))
                             : slot;
            std::unique_ptr<PDValue> copy(v->CopyNode());
            if (copy == nullptr)
                continue;
            PDValue* raw = copy.get();
            to->SaveAttrVal(target, std::move(copy));
            work.emplace_back(v, raw);
        }
    }
    return root;
}

void PDValue::RenumberReferences(const std::function<int32_t(int32_t)>& numberFor) {
    // One frame per open node: the next element of its chain and the next entry of its table.
    // Children are visited in order before their later siblings, as a recursive walk would.
    struct Frame {
        PDValue* element;
        PDDict* dict;
        int entry;
    };
    Stack<Frame> frames;
    auto enter = [&](PDValue* v) {
        if (v->m_kind == kPDReference)
            v->m_number = numberFor(v->m_number);
        frames.push_back(Frame{v->First(), v->Dict(), 0});
    };
    enter(this);
    while (!frames.empty()) {
        Frame& top = frames.back();
        if (top.element != nullptr) {
            PDValue* child = top.element;
            top.element = child->m_next;
            enter(child); // may move the frames, so top is not used after this
            continue;
        }
        PDValue* value = nullptr;
        if (top.dict != nullptr && top.dict->Entry(top.entry, &value, nullptr)) {
            ++top.entry;
            enter(value);
            continue;
        }
        frames.pop_back();
    }
}
