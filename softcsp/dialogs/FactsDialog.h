// A list that is only looked at, with a button that closes it.
#pragma once

#include <utility>
#include <vector>

#include "softcsp/dialogs/Dialog.h"

namespace softcsp {

class FactsDialog final : public Dialog {
  public:
    // Strings of the own module: the titles of the two columns and the rows' texts.
    struct Row {
        UINT first, second;
    };
    FactsDialog(UINT templateId, Row titles, std::vector<Row> rows)
        : Dialog(templateId), titles_(titles), rows_(std::move(rows)) {}

  private:
    HWND OnInit() override;

    Row titles_;
    std::vector<Row> rows_;
};

}  // namespace softcsp
