// A small PDF file in memory for fuzz targets: the objects are numbered from 1, the first is the
// catalog, and a classic cross-reference table follows them.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

inline std::string FuzzPdf(const std::vector<std::string>& objects) {
    std::string pdf = "%PDF-1.7\n";
    std::string offsets;
    int n = 1;
    for (const std::string& body : objects) {
        char line[32];
        std::snprintf(line, sizeof line, "%010zu 00000 n \n", pdf.size());
        offsets += line;
        pdf += std::to_string(n++) + " 0 obj\n" + body + "\nendobj\n";
    }
    size_t xref = pdf.size();
    pdf += "xref\n0 " + std::to_string(n) + "\n0000000000 65535 f \n" + offsets;
    pdf += "trailer\n<< /Size " + std::to_string(n) + " /Root 1 0 R >>\nstartxref\n" +
           std::to_string(xref) + "\n%%EOF\n";
    return pdf;
}

// A stream object's text: its dictionary entries, /Length and the data.
inline std::string FuzzStream(std::string_view entries, std::string_view data) {
    return "<< " + std::string(entries) + " /Length " + std::to_string(data.size()) +
           " >>\nstream\n" + std::string(data) + "\nendstream";
}
