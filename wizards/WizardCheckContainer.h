// The wizard that checks a container. Its pages: select the container; view the report.
#pragma once

#include <windows.h>

#include <commctrl.h>

#include <span>
#include <string>
#include <vector>

#include "csp/ContainerCheck.h"
#include "csp/CryptProvContext.h"
#include "framework/Controls.h"
#include "framework/Handles.h"
#include "wizards/WizPageSelectContainer.h"
#include "wizards/WizardBase.h"

// The mark beside a row of the report. The marks differ in shape, not only in colour. The numbers are those of the list
// view's state images.
enum class CheckMark : UINT { None, Succeeded, Failed, Note };

// The mark of a row, by the string ids of its label and value. `error`: the value is the text of an error code.
CheckMark MarkOf(UINT label, UINT value, bool error = false) noexcept;

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
