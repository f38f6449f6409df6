// A list of rows in columns, one of which can be chosen.
#pragma once

#include <windows.h>

#include <initializer_list>
#include <string>
#include <vector>

namespace softcsp {

class ReportList {
  public:
    struct Column {
        UINT title;  // a string of the own module
        int share;   // of the list's width, in percent
    };

    explicit ReportList(HWND list) : list_(list) {}

    void SetColumns(std::initializer_list<Column> columns) const;
    // Texts by column; `data` is the caller's own.
    void Add(const std::vector<std::wstring>& row, LPARAM data) const;
    void Clear() const;

    int Count() const;
    // The chosen row's data, `none` when no row is.
    LPARAM Chosen(LPARAM none) const;
    // Chooses the row with this data, or none.
    void Choose(LPARAM data) const;

  private:
    HWND list_;  // the dialog's
};

}  // namespace softcsp
