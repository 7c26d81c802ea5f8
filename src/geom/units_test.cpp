#include "geom/units.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <tuple>
#include <vector>

namespace tarnvale {
namespace {

TEST(Units, ConvertByNumbersThatNeverChange) {
    constexpr double kPi = 3.14159265358979;
    const std::tuple<UnitClass, int, int, double> cases[] = {
        {UnitClass::Length, 0, 0, 1},
        {UnitClass::Length, 0, 9002, 1 / 0.3048},
        {UnitClass::Length, 0, 9003, 3937.0 / 1200},
        {UnitClass::Length, 0, 9036, 0.001},
        {UnitClass::Length, 9093, 9002, 5280},
        {UnitClass::Length, 9030, 0, 1852},
        {UnitClass::Angle, 0, 9101, kPi / 180},
        {UnitClass::Angle, 0, 9105, 400.0 / 360},
        {UnitClass::Angle, 0, 9104, 3600},
        {UnitClass::Angle, 9114, 0, 360.0 / 6400},
        {UnitClass::Velocity, 0, kPerHour + 9036, 3.6},
        {UnitClass::Velocity, 0, kPerHour + 9030, 3600.0 / 1852},
        {UnitClass::Velocity, 0, 9002, 1 / 0.3048},
        {UnitClass::Velocity, 0, kPerHour, 3600},
    };
    for (const auto& [unitClass, from, to, expected] : cases) {
        double factor = 0;
        ASSERT_TRUE(GetUnitConversion(unitClass, from, to, factor).Good()) << to;
        EXPECT_NEAR(factor / expected, 1, 1e-9) << from << " to " << to;
    }
}

TEST(Units, UnknownNumbersChangeNothing) {
    double factor = 7;
    for (const int unit : {-1, 1, 9001, 9999, kPerHour + 9002}) {
        EXPECT_EQ(GetUnitConversion(UnitClass::Length, 0, unit, factor), StatusCode::BadState);
        EXPECT_EQ(GetUnitConversion(UnitClass::Length, unit, 0, factor), StatusCode::BadState);
        EXPECT_EQ(GetUnitSymbol(UnitClass::Length, unit), "");
    }
    EXPECT_EQ(GetUnitConversion(UnitClass::Angle, 0, 9110, factor), StatusCode::BadState)
        << "a way of writing degrees";
    EXPECT_EQ(factor, 7);
}

TEST(Units, ListsBeginWithTheInternalUnitAndNameEachOneOnce) {
    const std::tuple<UnitClass, std::size_t, const char*> classes[] = {
        {UnitClass::Length, 30, "m"}, {UnitClass::Angle, 8, "°"}, {UnitClass::Velocity, 7, "m/s"}};
    for (const auto& [unitClass, least, symbol] : classes) {
        const std::vector<UnitInfo> units = GetUnitList(unitClass);
        ASSERT_GE(units.size(), least);
        EXPECT_EQ(units.front().number, kInternalUnit);
        EXPECT_EQ(units.front().symbol, symbol);
        std::set<int> numbers;
        std::set<std::string> names;
        for (const UnitInfo& unit : units) {
            EXPECT_TRUE(numbers.insert(unit.number).second) << unit.number;
            EXPECT_TRUE(names.insert(unit.name).second) << unit.name;
            EXPECT_FALSE(unit.name.starts_with("unit_")) << "a key without text";
            EXPECT_FALSE(unit.symbol.starts_with("unit_")) << "a key without text";
            EXPECT_EQ(unit.symbol, GetUnitSymbol(unitClass, unit.number));
            EXPECT_FALSE(unit.symbol.empty());
        }
    }
    const std::vector<UnitInfo> lengths = GetUnitList(UnitClass::Length);
    EXPECT_EQ(lengths[2].number, 9002) << "usual units stand before the rest";
    EXPECT_TRUE(std::ranges::any_of(lengths, [](const UnitInfo& u) { return u.number == 9005; }))
        << "Clarke's foot";
}

}  // namespace
}  // namespace tarnvale
