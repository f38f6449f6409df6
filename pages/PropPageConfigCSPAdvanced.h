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
    // `header` is not owned; it must exist at each Show.
    void Attach(HWND header) noexcept;

    // Shows the arrow over a column, upwards for ascending order, and removes it from the previous column.
    void Show(int column, bool descending) noexcept;

  private:
    HWND header_ = nullptr;
    // Only for common controls older than version 6, whose headers draw no arrows; empty if they cannot be loaded.
    UniqueBitmap up_, down_;
    int column_ = -1;
    HDITEMW before_{};  // that column's format and bitmap without the arrow
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
