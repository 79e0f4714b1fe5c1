#include "tests/corpus/corpus_manifest.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace {

std::vector<std::string> SplitTabs(const std::string& line) {
    std::vector<std::string> cells;
    std::stringstream in(line);
    std::string cell;
    while (std::getline(in, cell, '\t'))
        cells.push_back(cell);
    return cells;
}

// The password after key= in "rc4-40 (user='', owner='owner')"; empty when absent or "?".
std::string Quoted(const std::string& text, const std::string& key) {
    size_t at = text.find(key + "='");
    if (at == std::string::npos)
        return "";
    at += key.size() + 2;
    size_t end = text.find('\'', at);
    return end == std::string::npos ? "" : text.substr(at, end - at);
}

int Number(const std::string& s) {
    int n = 0;
    for (char c : s) {
        if (c < '0' || c > '9')
            break;
        n = n * 10 + (c - '0');
    }
    return n;
}

} // namespace

std::string SharedDir() {
    // The ctest wrapper names the folder it found beside the source tree it runs from; a test
    // binary started by hand looks beside the source tree it was built from.
    const char* env = std::getenv("QUILLET_SHARED_DIR");
    return env != nullptr && *env != '\0' ? env : QUILLET_SOURCE_DIR "/../shared";
}

std::string CorpusDir() {
    return SharedDir() + "/corpus";
}

std::vector<CorpusFile> LoadCorpusManifest() {
    std::vector<CorpusFile> files;
    std::ifstream in(CorpusDir() + "/MANIFEST.tsv");
    std::string line;
    if (!std::getline(in, line))
        return files;
    std::vector<std::string> head = SplitTabs(line);
    auto column = [&head](const char* name) {
        for (size_t i = 0; i < head.size(); ++i) {
            if (head[i] == name)
                return i;
        }
        return head.size();
    };
    size_t cFile = column("file"), cEnc = column("encrypted"), cPages = column("pages"),
           cFields = column("terminal_fields");
    while (std::getline(in, line)) {
        std::vector<std::string> cells = SplitTabs(line);
        if (cells.size() <= std::max({cFile, cEnc, cPages, cFields}))
            continue;
        CorpusFile f;
        f.name = cells[cFile];
        f.path = CorpusDir() + "/" + f.name;
        f.encrypted = cells[cEnc];
        f.userPassword = Quoted(f.encrypted, "user");
        f.ownerPassword = Quoted(f.encrypted, "owner");
        f.pages = Number(cells[cPages]);
        f.terminalFields = Number(cells[cFields]);
        files.push_back(f);
    }
    return files;
}
