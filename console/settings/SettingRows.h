// The rows of the settings document, page by page in the order of the sheet. Each function appends the rows of one page
// with their values as they are stored now.
#pragma once

#include <string>
#include <vector>

#include "console/settings/SettingRow.h"

void AddLanguageRows(std::vector<SettingRow>& rows);
void AddTimeoutRows(std::vector<SettingRow>& rows);
// `provider`: the product's own provider, whose default algorithms are chosen.
void AddAlgorithmRows(std::vector<SettingRow>& rows, const std::wstring& provider);
void AddSecurityRows(std::vector<SettingRow>& rows);
void AddWinlogonRows(std::vector<SettingRow>& rows);
void AddTlsRows(std::vector<SettingRow>& rows);
