// The wizard that checks a container. Its pages: select the container; view the report.
#pragma once

#include <windows.h>

#include <commctrl.h>

#include <span>
#include <string>
#include <vector>

#include "csp/CheckRows.h"
#include "csp/ContainerCheck.h"
#include "csp/CryptProvContext.h"
#include "framework/Controls.h"
#include "framework/Handles.h"
#include "wizards/WizPageSelectContainer.h"
#include "wizards/WizardBase.h"

// The marks as state images, in the size of small icons. The caller owns the list; nullptr on failure.
HIMAGELIST CreateMarks() noexcept;

struct ReportRow {
    std::wstring label;
    std::wstring value;  // may be empty
};

// The report as plain text, one line for each row: the label, padded to 30 characters and never truncated, a space, a
// tab, the value, carriage return and line feed.
std::wstring ReportText(std::span<const ReportRow> rows);

struct CheckContainerState : WizardState {
    CCryptProvContext container;  // opened by the first page
};

// Selects the container. Next opens it.
class CWizPageCheckContainerSelectContainer : public CWizPageSelectContainer {
  public:
    explicit CWizPageCheckContainerSelectContainer(CheckContainerState& state);

  protected:
    bool OnContainerSelected() override;

  private:
    CheckContainerState& state_;
};

// Shows the report. The check runs each time the page is shown, and its rows appear as they are found.
class CWizPageCheckContainerFinish : public CWizardPageBase, private CheckRows {
  public:
    explicit CWizPageCheckContainerFinish(CheckContainerState& state);

  protected:
    void DoDataExchange(CDataExchange* exchange) override;
    std::span<const Route> Routes() const override;
    bool OnInitDialog() override;
    bool OnSetActive() override;
    void OnShown() override;

  private:
    void Insert(Place place, CheckRow row) override;

    void ShowCompleted(bool completed);
    void Clear();
    void RunCheck();
    void SizeColumns();
    void OnCopy();
    LRESULT OnDraw(const Message& message);  // the list's NM_CUSTOMDRAW

    CheckContainerState& state_;
    bool due_ = false;  // the page has been activated, and its check hasn't begun
    UniqueFont titleFont_, verdictFont_;
    CListCtrl list_;
    std::vector<ReportRow> rows_;  // what the list shows
};

class CWizardCheckContainer : public CPropertySheetWizardBase {
  public:
    explicit CWizardCheckContainer(HWND parent);

  private:
    CheckContainerState state_;
    CWizPageCheckContainerSelectContainer select_{state_};
    CWizPageCheckContainerFinish finish_{state_};
};
