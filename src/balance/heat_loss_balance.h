#pragma once
// A wall's heat loss as a heat row of a balance workbook: heat rows on an OUT sheet are the area's heat losses.
// The balance counts amounts per hour of operation, so a loss of q W is q * 3600 J in the balance.

#include <string>
#include <string_view>

#include "balance/balance_book.h"
#include "balance/heat_loss.h"

namespace zyl::balance {

inline constexpr double kSecondsPerHour = 3600;

/// Heat lost in one hour of operation, in the energy unit of a balance.
double HeatLossPerHour(const WallResult& r, EnergyUnit unit);

/// Puts the loss into the OUT sheet of `area` (1-based): the heat row of the same description gets the new
/// value, else a new heat row goes to the first free row. Returns its 0-based row, or -1 with *error set.
int PutHeatLoss(BalanceBook& book, int area, const WallResult& r, std::string* error,
                std::string_view description = kWallLossText);

}  // namespace zyl::balance
