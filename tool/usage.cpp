#include "tool/usage.h"

#include "forms/form_document.h"

namespace {

// Deliberate: the text is printed in these pieces exactly, uneven indentation included: "Options:"
// and the eight-blank pieces line the option column up, and the text ends without a line break.
constexpr const char* kPieces[] = {
    "Usage:   quillet Template-File Output-File F1=Value1 F2=Value2 ..\n",
    "         quillet Template-File Output-File +F1@1,2,3,4,5,6,7=v ..\n",
    "         quillet input.pdf output.pdf -F1 F2=abc\n",
    "         quillet [ Options ] input.pdf output.pdf @control.file\n",
    "Options:",
    " -flatten     replace fields by page content (\"burn in\")\n",
    "        ",
    " -pw          password for input file\n",
    "         -user        set user password of output file\n",
    "         -owner       set owner password of output file\n",
    "         -perm        set security flags for output file\n",
    "        ",
    " -l           list fields of input file\n",
    "         -fs min max  set font size limits for auto-sized fields",
};

} // namespace

void WriteUsage(FILE* out, const char* buildDate) {
    std::fprintf(out, "Form filling and flattening. Version %s, %s.\n", kQuilletVersion, buildDate);
    for (const char* piece : kPieces) {
        std::fputs(piece, out);
    }
}

void WriteUsage(FILE* out) {
    WriteUsage(out, __DATE__);
}

namespace {

constexpr const char* kLongOptions =
    "\n\nLong options (before the file names):\n"
    "  --json               with a listing: the fields as one JSON document\n"
    "  --batch records.csv  fill one output per CSV record; the output name is a pattern\n"
    "                       in which {COLUMN} is that column's value and {#} the record number\n"
    "  --help               this text\n"
    "  --version            the version line\n"
    "\nExamples:\n"
    "  quillet --json form.pdf > fields.json\n"
    "  quillet -flatten --batch people.csv form.pdf 'out/{name}.pdf'\n";

} // namespace

void WriteHelp(FILE* out) {
    WriteUsage(out);
    std::fputs(kLongOptions, out);
    std::fprintf(out, "\nProject: %s\n", PDFormDocument::kMakerAddress);
}

void WriteVersion(FILE* out) {
    std::fprintf(out, "quillet %s (%s)\n", kQuilletVersion, __DATE__);
}
