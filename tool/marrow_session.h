// The FormSession of the shipped tool, on top of the marrow library.
#pragma once

#include "forms/form_template.h"
#include "tool/form_session.h"

#include <memory>

class PDMarrowSession final : public FormSession {
public:
    bool OpenTemplate(const char* name) override;
    bool TemplateIsEncrypted() override;
    PasswordResult SetTemplatePassword(const char* password) override;
    void ListFields(FILE* out) override;
    void CloseTemplate() override;
    void RemoveUsageRights() override;
    bool TemplateHasOutline() override;

    bool CreateOutputFile(const char* name) override;
    void CreateOutputInMemory() override;
    void SetPermissions(const char* permissions) override;
    void SetUserPassword(const char* password) override;
    void SetOwnerPassword(const char* password) override;
    void SetFontSizeLimits(float largest, float smallest) override;
    float LargestFontSize() const override { return m_largest; }
    float SmallestFontSize() const override { return m_smallest; }
    bool AttachTemplate() override;
    bool SetFieldValue(const char* name, const char* value) override;
    bool DeleteField(const char* name) override;
    bool AddTextField(const char* name, int pageIndex, float x, float y, float width, float height,
                      int font, float size) override;
    void SetFlatten(int mode) override;
    void ImportPages() override;
    void CopyOutlines() override;
    void CopyNamedDestinations() override;
    void WriteCatalog() override;
    void CloseOutput() override;
    std::vector<uint8_t> TakeMemoryImage() override;

private:
    void ResetLimits();

    std::unique_ptr<PDFormTemplate> m_template;
    float m_largest = 12.0f;
    float m_smallest = 5.0f;
};
