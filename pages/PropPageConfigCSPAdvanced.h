// Versions of the provider's and the system's modules, and the timeout of user input. The page stores nothing.
#pragma once

#include <vector>

#include "applet/services/PropPageConfigBase.h"
#include "framework/ListCtrl.h"
#include "pages/FileVersions.h"
#include "pages/SortArrow.h"

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
