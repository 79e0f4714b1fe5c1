// PDValue: one node of a PDF value tree; PDDict: the keyed table of a dictionary value.
#pragma once

#include "pdf/pdkeys.h"
#include "streams/pdalloc.h"
#include "streams/pdstr.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <new>
#include <string_view>
#include <vector>

class PDDict;

enum PDKind : int {
    kPDNone = 0,
    kPDText = 1,       // names, reals, true/false/null and other words, exactly as written
    kPDInteger = 2,    // the number slot
    kPDReference = 3,  // the number slot holds the object number
    kPDArray = 4,      // a chain of elements
    kPDDictionary = 5, // the owned PDDict; a stream also carries data
    kPDString = 6,     // as written, delimiters included
};

// Marker in the number slot of an integer that does not fit in 32 bits.
inline constexpr int32_t kPDBigNumber = 2147483647;

class PDValue {
public:
    PDValue() noexcept;
    // Kind String when the text starts with "(", else Text.
    explicit PDValue(const char* text);
    explicit PDValue(const PDStr& text);
    // Formatted with the writer's real format; kind Text.
    explicit PDValue(double real);
    ~PDValue(); // iterative over element chains, so long arrays cannot exhaust the stack
    PDValue(const PDValue&) = delete;
    PDValue& operator=(const PDValue&) = delete;

    static std::unique_ptr<PDValue> MakeInteger(int32_t n);
    static std::unique_ptr<PDValue> MakeReference(int32_t objNum);
    static std::unique_ptr<PDValue> MakeArray();
    static std::unique_ptr<PDValue> MakeDictionary();

    // Deep copy; returns a new tree owned by the caller.
    std::unique_ptr<PDValue> Copy() const;

    int Kind() const noexcept { return m_kind; }
    void SetKind(int kind) noexcept { m_kind = static_cast<int8_t>(kind); }
    int32_t Number() const noexcept { return m_number; }
    void SetNumber(int32_t n) noexcept { m_number = n; }
    const PDStr& Text() const noexcept {
        return m_payload == kTextPayload ? m_body.text : EmptyText();
    }
    // Makes the value hold a text (an array chain or table it held goes).
    PDStr& MutableText();

    bool IsName() const noexcept { return m_kind == kPDText && Text().At(0) == '/'; }
    bool IsName(const char* name) const noexcept { return IsName() && Text() == name; }

    // Kind Text when the text starts with a slash, else String.
    void SetText(const char* text);
    void SetText(const PDStr& text);
    // Reads the decimal text as a 64-bit integer; 32-bit values other than both extremes become
    // Integer, the rest Text with the digits and kPDBigNumber in the number slot.
    void SetIntegerText(const char* digits);
    void SetInteger(int32_t n) noexcept;
    void SetReference(int32_t objNum) noexcept;

    double GetReal() const noexcept;
    int32_t GetInt() const noexcept;
    int64_t GetInt64() const noexcept;

    // Arrays. First() is null unless this is an array; Next() is the following element of the
    // array that holds this value.
    PDValue* First() const noexcept;
    PDValue* Next() const noexcept;
    // Only on an array ("element assignment to non-array\n" otherwise); replaces the whole chain.
    void SetFirst(std::unique_ptr<PDValue> first);
    // Appends to an array (kind must be Array). The stored count in the number slot is kept as
    // 1 after the first element, then (elements before the append - 1).
    void Append(std::unique_ptr<PDValue> element);
    // Element at i (walks the chain); null when out of range.
    PDValue* Element(int i) const noexcept;
    int ElementCount() const noexcept; // real count, by walking the chain
    // Unlinks and destroys the first Reference to objNum. False when there is none.
    bool RemoveReference(int32_t objNum);

    // Dictionaries.
    PDDict* Dict() const noexcept { return m_payload == kDictPayload ? m_body.dict : nullptr; }
    // Makes this value an empty dictionary (kind 5, new table).
    void MakeDict();
    // Convenience: dictionary lookup; null unless a dictionary holds the key.
    PDValue* Get(const char* key) const noexcept;
    PDValue* GetSlot(int slot) const noexcept;

    // Streams: only a dictionary carries data.
    bool AssignStream(const uint8_t* data, int64_t length, const char* filter);
    bool HasStream() const noexcept;
    const uint8_t* StreamData() const noexcept;
    int64_t StreamLength() const noexcept;
    // Hands the data buffer over without copying (the parser fills it in place). A value that is
    // not a dictionary reports and drops the data.
    void AdoptStreamData(std::vector<uint8_t>&& data, int64_t length);
    // The data buffer of a dictionary (made empty when it has none yet).
    std::vector<uint8_t>& MutableStreamData();

    // Renumbering: every Reference under this value (array chains, dictionary entries in order)
    // gets numberFor(its object number).
    void RenumberReferences(const std::function<int32_t(int32_t)>& numberFor);

    // Running out of memory for a node raises PDAllocError; the nothrow form
    // returns null instead (used by Copy, which reports and gives up).
    static void* operator new(std::size_t size);
    static void* operator new(std::size_t size, const std::nothrow_t&) noexcept;
    static void operator delete(void* p, std::size_t size) noexcept;

private:
    // Which member of the body is alive. The kind alone does not tell: a number keeps the text
    // it had, and the parser fills the text before it sets the kind.
    enum Payload : uint8_t { kNoPayload, kTextPayload, kChainPayload, kDictPayload };
    struct Chain {
        PDValue* first; // owned
        PDValue* last;  // so that appends do not walk the chain
        int32_t count;  // elements in the chain
    };
    // A value is a text, an array chain or a table, never two at once, so they share the room.
    union Body {
        Body() noexcept : chain{nullptr, nullptr, 0} {}
        ~Body() {}
        Body(const Body&) = delete;
        Body& operator=(const Body&) = delete;
        Chain chain;
        PDDict* dict; // owned
        PDStr text;
    };

    // Children move onto a work list chained through m_next, so destroying a long array or a deep
    // tree needs neither recursion nor memory.
    void DestroyChildren() noexcept;
    static void DetachChildren(PDValue* v, PDValue*& work) noexcept;
    // Makes payload the live member of the body, ending the one alive before (children and all).
    void Become(Payload payload);
    void DropPayload() noexcept;
    void LinkLast(PDValue* element);
    PDValue* CopyNode() const;
    static const PDStr& EmptyText() noexcept;

    int8_t m_kind;
    Payload m_payload;
    int32_t m_number; // integer, object number, or an array's stored count
    PDValue* m_next;  // element: next element of the array that holds it
    Body m_body;
    friend class PDDict;
};

class PDDict {
public:
    PDDict() noexcept;
    ~PDDict();
    PDDict(const PDDict&) = delete;
    PDDict& operator=(const PDDict&) = delete;

    // Slot of the key; appends a new slot when absent. -1 when the table is full.
    int Intern(const char* key);
    int Intern(const char* key, int length);
    // Stores v at slot (taking ownership). A slot beyond the capacity reports
    // "SaveAttrVal: internal error\n" and stores nothing. Replacing keeps the entry's position.
    void SaveAttrVal(int slot, std::unique_ptr<PDValue> v);
    // Intern + SaveAttrVal.
    void Set(const char* key, std::unique_ptr<PDValue> v);

    // "/Key" compares byte for byte; "Key" compares with each stored key decoded as a name.
    PDValue* Get(const char* key) const noexcept;
    PDValue* GetSlot(int slot) const noexcept;
    const char* KeyText(int slot) const noexcept; // null at or beyond the capacity

    int Count() const noexcept { return static_cast<int>(m_entries.size()); }
    // The slot numbers a table may use before it grows: a number only, no storage stands behind
    // it (entries take room as they are set).
    int Capacity() const noexcept { return m_capacity; }
    int SlotsInUse() const noexcept {
        return pdkey::kWellKnownCount + static_cast<int>(m_ownedKeys.size());
    }
    // i-th entry in order. False when i is at or beyond the entry count.
    bool Entry(int i, PDValue** value, const char** key) const noexcept;
    bool EntrySlot(int i, PDValue** value, int* slot) const noexcept;

    void RemoveSlot(int slot);
    bool Remove(const char* key);
    // Moves the entry under key into other (interned there) without destroying it.
    bool MoveTo(const char* key, PDDict& other);
    // Takes the entry's value out, leaving the slot empty. Null when unset.
    std::unique_ptr<PDValue> Release(int slot);
    void Clear() noexcept;
    // Gives back the room a table took for entries and keys it never got: a table read from a
    // file is complete, and a document holds thousands.
    void Compact();

    // Running out of memory for a table raises PDAllocError.
    static void* operator new(std::size_t size);
    static void operator delete(void* p, std::size_t size) noexcept;

private:
    template <class T> using Vec = std::vector<T, PDAllocator<T>>;
    struct Item {
        std::unique_ptr<PDValue> value;
        int32_t slot;
    };
    // Built once a table holds many keys, so that look-ups and stores stay constant-time.
    struct BigIndex;

    // The key bytes of a slot in use; empty for any other slot.
    std::string_view KeyView(int slot) const noexcept;
    int FindExact(const char* key, int length) const noexcept;
    int FindDecoded(const char* key, int length) const noexcept;
    int FindAny(const char* key) const noexcept;
    // Index of the entry of slot in m_entries; -1 when the slot holds nothing.
    int Position(int slot) const noexcept;
    void IndexKey(int slot);
    void Reindex(size_t from) noexcept;

    // The data of a stream dictionary.
    struct Stream {
        std::vector<uint8_t> data;
        int64_t length = 0;
    };

    Vec<Item> m_entries;               // in first-set order
    Vec<std::string_view> m_ownedKeys; // slot 20 on; the bytes are shared by every table
    std::unique_ptr<BigIndex> m_big;   // null while the table is small
    std::unique_ptr<Stream> m_stream;  // null unless the value is a stream
    int32_t m_capacity;
    bool m_oddKeys; // a key holds '#' or lacks the slash, so plain look-ups decode every key
    friend class PDValue;
};

// Name encoding: raw bytes to "/..." with #XY escapes for blanks, controls, delimiters and "#".
PDStr PDEncodeName(const char* bytes, int length);
// Name decoding: slash dropped, #hh escapes resolved; a text without the slash is copied.
PDStr PDDecodeName(const char* text, int length);
// True when the name text decodes (as PDDecodeName does) to exactly the plain bytes.
bool PDNameMatches(const char* text, int length, const char* plain, int plainLength) noexcept;
