// A FormSession that records every operation as text, and capture of a run's streams.
#pragma once

#include "tool/form_session.h"
#include "tool/run_streams.h"

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

class FakeFormSession : public FormSession {
public:
    // What the fake answers.
    bool addOk = true;
    bool hasOutline = false;
    std::vector<uint8_t> image;

    std::vector<std::string> calls;

    // Deliberately not recorded: asking changes nothing.
    bool OpenTemplate(const char* name) override { return Log("OpenTemplate", name), true; }
    bool TemplateIsEncrypted() override { return Log("TemplateIsEncrypted"), false; }
    PasswordResult SetTemplatePassword(const char* pw) override {
        return Log("SetTemplatePassword", pw), PasswordResult::kOpened;
    }
    void ListFields(FILE* out) override {
        Log("ListFields");
        std::fputs("LISTING\n", out);
    }
    std::vector<PDFieldDescription> DescribeFields() override { return {}; }
    bool ReopenTemplate() override { return Log("ReopenTemplate"), true; }
    void RemoveUsageRights() override { Log("RemoveUsageRights"); }
    bool TemplateHasOutline() override { return Log("TemplateHasOutline"), hasOutline; }
    int TemplatePageCount() override { return 1; }
    int OutputPageCount() override { return 1; }
    // Creating resets the limits, so a run that skips it shows in the limits it passes on.
    bool CreateOutputFile(const char* name) override {
        return Log("CreateOutputFile", name), Limits(12.0f, 5.0f), true;
    }
    void CreateOutputInMemory() override { Log("CreateOutputInMemory"), Limits(12.0f, 5.0f); }
    void SetPermissions(const char* p) override { Log("SetPermissions", p); }
    void SetUserPassword(const char* p) override { Log("SetUserPassword", p); }
    void SetOwnerPassword(const char* p) override { Log("SetOwnerPassword", p); }
    void UseAes256() override { Log("UseAes256", ""); }
    void SetFontSizeLimits(float largest, float smallest) override {
        Log("SetFontSizeLimits", Num(largest) + "|" + Num(smallest)), Limits(largest, smallest);
    }
    // Deliberately not recorded: reading the limits changes nothing.
    float LargestFontSize() const override { return m_largest; }
    float SmallestFontSize() const override { return m_smallest; }
    void AddFontFile(const char* path) override { Log("AddFontFile", path); }
    bool AttachTemplate() override { return Log("AttachTemplate"), true; }
    bool SetFieldValue(const char* name, const char* value) override {
        return Log("SetFieldValue", std::string(name) + "|" + value), true;
    }
    bool DeleteField(const char* name) override { return Log("DeleteField", name), true; }
    bool AddTextField(const char* name, int page, float x, float y, float w, float h, int font,
                      float size) override {
        Log("AddTextField", std::string(name) + "|" + std::to_string(page) + "|" + Num(x) + "|" +
                                Num(y) + "|" + Num(w) + "|" + Num(h) + "|" + std::to_string(font) +
                                "|" + Num(size));
        return addOk;
    }
    void SetFlatten(int mode) override { Log("SetFlatten", std::to_string(mode)); }
    void ImportPages() override { Log("ImportPages"); }
    std::vector<std::string> Warnings() override { return {}; }
    void CopyOutlines() override { Log("CopyOutlines"); }
    void CopyNamedDestinations() override { Log("CopyNamedDestinations"); }
    void WriteCatalog() override { Log("WriteCatalog"); }
    bool CloseOutput() override {
        Log("CloseOutput");
        return true;
    }
    std::vector<uint8_t> TakeMemoryImage() override { return Log("TakeMemoryImage"), image; }

    static std::string Num(float v) {
        char buffer[32];
        auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, v);
        return ec == std::errc() ? std::string(buffer, end) : "?";
    }

private:
    void Log(const char* op) { calls.emplace_back(op); }
    void Log(const char* op, const std::string& args) {
        calls.push_back(std::string(op) + "(" + args + ")");
    }
    void Limits(float largest, float smallest) { m_largest = largest, m_smallest = smallest; }

    float m_largest = 0.0f; // the fake starts unset, so a missing create shows up in the limits
    float m_smallest = 0.0f;
};

// Memory streams for one run: stdin from given bytes, stdout and stderr collected.
class CapturedStreams {
public:
    explicit CapturedStreams(const std::string& input = std::string()) : m_input(input + '\0') {
        // fmemopen refuses an empty buffer on some systems; the spare zero keeps it valid.
        io.in = fmemopen(m_input.data(), m_input.size() - 1, "r");
        io.out = open_memstream(&m_out[0], &m_size[0]);
        io.err = open_memstream(&m_out[1], &m_size[1]);
    }
    ~CapturedStreams() {
        for (FILE* f : {io.in, io.out, io.err})
            std::fclose(f);
        std::free(m_out[0]);
        std::free(m_out[1]);
    }
    CapturedStreams(const CapturedStreams&) = delete;
    CapturedStreams& operator=(const CapturedStreams&) = delete;

    std::string Out() { return Collected(io.out, 0); }
    std::string Err() { return Collected(io.err, 1); }

    RunStreams io;

private:
    std::string Collected(FILE* f, int i) {
        std::fflush(f);
        return std::string(m_out[i], m_size[i]);
    }

    std::string m_input;
    char* m_out[2] = {nullptr, nullptr};
    size_t m_size[2] = {0, 0};
};
