// Outlines: the output's outline root and the items imported from inputs.
#pragma once

#include <cstdint>
#include <memory>
#include <unordered_set>

class PDFInput;
class PDOutputDoc;
class PDValue;

class PDOutlineRoot {
public:
    explicit PDOutlineRoot(PDOutputDoc& output);
    ~PDOutlineRoot();
    PDOutlineRoot(const PDOutlineRoot&) = delete;
    PDOutlineRoot& operator=(const PDOutlineRoot&) = delete;

    // The absolute value of the input outline's /Count; without one, -1 when it has /First and 0
    // otherwise (also 0 for an input without outline).
    static int OpenCount(PDFInput& input);

    // Imports the input's catalog /Outlines items under the root, after those imported before.
    void Import(PDFInput& input);
    // Writes the root and every item; adds /Outlines to the output catalog. False when the output
    // failed.
    bool Write();

    struct Node;

private:
    void ImportChain(Node& parent, PDFInput& input, const PDValue* first, int depth);
    // False when the item cannot be read as a dictionary or was met before; next receives the
    // number of its /Next sibling (0 for none).
    bool ImportItem(Node& parent, PDFInput& input, int32_t number, int depth, int32_t& next);
    bool WriteItem(const Node& item);

    PDOutputDoc& m_output;
    std::unique_ptr<Node> m_root;
    // Output numbers of the items so far: an item met twice (a cycle, or an outline imported
    // again) ends its chain instead of being written twice.
    std::unordered_set<int32_t> m_numbers;
    // Input numbers of the outline being imported, which the item copier leaves alone.
    std::unordered_set<int32_t> m_tree;
};
