// The report of a container's check. The check runs each time the page appears, and its rows appear as they are found.
#pragma once

#include <vector>

#include "csp/ContainerCheck.h"
#include "framework/Handles.h"
#include "framework/ListCtrl.h"
#include "wizards/CheckContainerState.h"
#include "wizards/CheckMarks.h"
#include "wizards/ReportText.h"
#include "wizards/WizardPageBase.h"

class CWizPageCheckContainerFinish : public CWizardPageBase, private CheckReport {
  public:
    explicit CWizPageCheckContainerFinish(CheckContainerState& state);

  protected:
    void DoDataExchange(CDataExchange* exchange) override;
    std::span<const Route> Routes() const override;
    bool OnInitDialog() override;
    bool OnSetActive() override;
    void OnShown() override;

  private:
    void Row(UINT label, UINT value) override;
    void Row(UINT label, std::wstring_view value) override;
    void Failure(UINT label, DWORD error) override;
    void Continuation(std::wstring_view value) override;
    void Continuation(UINT value) override;
    void Verdict(UINT label, UINT value) override;

    enum class Place { Top, End };
    void Insert(Place place, CheckMark mark, std::wstring label, std::wstring value);

    void ShowCompleted(bool completed);
    void Clear();
    void RunCheck();
    void SizeColumns();
    void OnCopy();
    LRESULT OnDraw(const Message& message);  // the list's NM_CUSTOMDRAW

    CheckContainerState& state_;
    bool due_ = false;  // the page has appeared, and its check hasn't begun
    UniqueFont titleFont_, verdictFont_;
    CListCtrl list_;
    std::vector<ReportRow> rows_;  // what the list shows
};
