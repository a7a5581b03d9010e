#pragma once

#include <array>

constexpr unsigned kFeatureCount = 207;

/// The features' names in the order of their ids, and behind them the name of whatever is no feature.
/// Engineers type these texts and their debug.conf files hold them, so the misspelt ones and those with a
/// blank stay as they are.
extern const std::array<const char*, kFeatureCount + 1> kFeatureNames;
