#include "balance/heat_loss_balance.h"

#include <fmt/format.h>

#include "platform/text.h"

namespace zyl::balance {

double HeatLossPerHour(const WallResult& r, EnergyUnit unit) {
  const double kcal = r.q_w * kSecondsPerHour / kCalToJ / 1000.0;  // J -> kcal
  return kcal * EnergyFactor(unit);
}

int PutHeatLoss(BalanceBook& book, int area, const WallResult& r, std::string* error, std::string_view description) {
  if (!r.ok()) {
    *error = r.error.empty() ? "The heat loss has not been calculated." : r.error;
    return -1;
  }
  if (area < 1 || area > book.AreaCount()) {
    *error = fmt::format("The balance has no area {} (it has {}).", area, book.AreaCount());
    return -1;
  }
  const int sheet = book.OutSheet(area);
  const std::string text = platform::Trim(description);
  int row = -1;
  for (const RowData& d : book.Rows(sheet))
    if (d.kind == RowKind::Heat && platform::Trim(d.formula) == text) {
      row = d.row;
      break;
    }
  if (row < 0) row = book.NextFreeRow(sheet);
  book.PutHeat(sheet, row, text, HeatLossPerHour(r, book.units().energy));
  book.book().RecalculateDirty();
  return row;
}

}  // namespace zyl::balance
