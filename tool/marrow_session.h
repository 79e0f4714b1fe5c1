// The FormSession of the shipped tool, on top of the marrow library.
#pragma once

#include "forms/form_document.h"
#include "forms/form_template.h"
#include "tool/form_session.h"
#include "tool/output_target.h"

#include <memory>

class PDMarrowSession final : public FormSession {
public:
    PDMarrowSession();
    ~PDMarrowSession() override;

    bool OpenTemplate(const char* name) override;
    bool TemplateIsEncrypted() override;
    PasswordResult SetTemplatePassword(const char* password) override;
    void ListFields(FILE* out) override;
    std::vector<PDFieldDescription> DescribeFields() override;
    bool ReopenTemplate() override;
    void RemoveUsageRights() override;
    int TemplatePageCount() override;
    int OutputPageCount() override;
    bool TemplateHasOutline() override;

    bool CreateOutputFile(const char* name) override;
    void CreateOutputInMemory() override;
    void SetPermissions(const char* permissions) override;
    void SetUserPassword(const char* password) override;
    void SetOwnerPassword(const char* password) override;
    void UseAes256() override;
    void SetFontSizeLimits(float largest, float smallest) override;
    float LargestFontSize() const override { return m_document->LargestFontSize(); }
    float SmallestFontSize() const override { return m_document->SmallestFontSize(); }
    void AddFontFile(const char* path) override { m_document->AddFontFile(path); }
    bool AttachTemplate() override;
    bool SetFieldValue(const char* name, const char* value) override;
    bool DeleteField(const char* name) override;
    bool AddTextField(const char* name, int pageIndex, float x, float y, float width, float height,
                      int font, float size) override;
    void SetFlatten(int mode) override;
    void ImportPages() override;
    std::vector<std::string> Warnings() override { return m_document->Warnings(); }
    void CopyOutlines() override;
    void CopyNamedDestinations() override;
    void WriteCatalog() override;
    bool CloseOutput() override;
    std::vector<uint8_t> TakeMemoryImage() override;

private:
    // Built in this order and destroyed in the reverse one: the output, then the template.
    std::unique_ptr<PDFormDocument> m_document;
    std::unique_ptr<PDFormTemplate> m_template;
    // A failed or interrupted run never leaves half a file or spoils an old one.
    PDOutputTarget m_target;
    bool m_toFile = false;
    // What ReopenTemplate starts from, kept once it is first asked for.
    std::vector<uint8_t> m_templateImage;
    std::string m_templatePassword;
};
