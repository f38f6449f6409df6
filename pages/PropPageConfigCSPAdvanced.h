// Versions of the provider's and the system's modules, and the timeout of user input. The page stores nothing.
#pragma once

#include <windows.h>

#include <commctrl.h>

#include <vector>

#include "applet/services/PropPageConfigBase.h"
#include "framework/Controls.h"
#include "framework/Handles.h"
#include "settings/FileVersions.h"

// The arrow in a list's header over the column that the list is sorted by.

class SortArrow {
  public:
    // `header` isn't owned; it must be there at each Show.
    void Attach(HWND header) noexcept;

    // Points up over a column that ascends, and gives the column that had the arrow its own look back.
    void Show(int column, bool descending) noexcept;

  private:
    HWND header_ = nullptr;
    // For common controls older than 6, whose headers draw no arrows; none for newer ones, or when they can't be had.
    UniqueBitmap up_, down_;
    int column_ = -1;
    HDITEMW before_{};  // how that column looked without the arrow
};

class CPropPageConfigCSPAdvanced : public CPropPageConfigBase {
  public:
    CPropPageConfigCSPAdvanced();

  protected:
    void DoDataExchange(CDataExchange* exchange) override;
    std::span<const Route> Routes() const override;
    bool OnInitDialog() override;
    void PostNcDestroy() override;

  private:
    void OnColumnClicked(const Message& message);
    void OnCopy();
    void OnSetTimeout();

    void InsertColumns();
    void InsertFiles();
    void SizeColumn(int column);
    void Sort();

    std::vector<FileVersion> files_;  // an item's data points to its file
    CListCtrl list_;
    SortArrow arrow_;
    VersionColumn column_ = VersionColumn::Name;
    bool descending_ = false;
};
