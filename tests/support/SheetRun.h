// Property sheets and pages whose answers a test sets, run with steps that work on them.
#pragma once

#include <functional>
#include <vector>

#include "framework/PropertyPage.h"
#include "framework/PropertySheet.h"
#include "tests/support/ModalScript.h"
#include "tests/support/TemplateBuilder.h"

constexpr WORD kButton = 50;  // on every page of these

inline const std::vector<BYTE>& PageTemplate() {
    static const std::vector<BYTE> bytes =
        BuildTemplate(WS_CHILD | DS_CONTROL, L"Page", {{L"BUTTON", kButton, WS_TABSTOP}});
    return bytes;
}

class TestPage : public CPropertyPage {
  public:
    explicit TestPage(const std::vector<BYTE>& bytes = PageTemplate()) { SetTemplate(bytes, {}); }

    bool leaves = true, cancels = true;               // what it answers
    LRESULT back = 0, next = 0;                       // likewise, in wizards
    std::function<bool()> onInit, onApply, onFinish;  // true when there are none
    std::function<void()> onActive, onClick, onEnd;
    int applied = 0, resets = 0, shown = 0;  // times

  protected:
    std::span<const Route> Routes() const override {
        static constexpr Route table[] = {on<&TestPage::OnClick>(kButton, BN_CLICKED)};
        return table;
    }
    bool OnInitDialog() override { return CPropertyPage::OnInitDialog() && (!onInit || onInit()); }
    bool OnSetActive() override {
        if (onActive) onActive();
        return CPropertyPage::OnSetActive();
    }
    bool OnKillActive() override { return leaves && CPropertyPage::OnKillActive(); }
    bool OnApply() override { return ++applied, !onApply || onApply(); }
    void OnFirstShown() override { shown += IsWindowVisible(m_hWnd); }
    void OnReset() override { ++resets; }
    bool OnQueryCancel() override { return cancels; }
    LRESULT OnWizardBack() override { return back; }
    LRESULT OnWizardNext() override { return next; }
    bool OnWizardFinish() override { return !onFinish || onFinish(); }
    void PostNcDestroy() override {
        if (onEnd) onEnd();
    }

  private:
    void OnClick() {
        if (onClick) onClick();
    }
};

class TestSheet : public CPropertySheet {
  public:
    // `ends` counts the calls of PostNcDestroy and outlives the sheet.
    explicit TestSheet(std::initializer_list<CPropertyPage*> pages, int* ends = nullptr) : ends_(ends) {
        for (CPropertyPage* page : pages) AddPage(*page);
    }
    bool deletesItself = false;

    // Spoils what it frees, so that a use after it shows.
    static void operator delete(void* sheet, size_t size) {
        auto* bytes = static_cast<volatile BYTE*>(sheet);
        for (size_t i = 0; i < size; ++i) bytes[i] = 0xDD;
        ::operator delete(sheet);
    }

  protected:
    void PostNcDestroy() override {
        if (ends_) ++*ends_;
        if (deletesItself) delete this;
    }

  private:
    int* ends_;
};

// A sheet that is still open after the steps is cancelled.
inline INT_PTR RunSheet(CPropertySheet& sheet, std::vector<ModalScript::Step> steps) {
    const ModalScript script(std::move(steps));
    return sheet.DoModal();
}
