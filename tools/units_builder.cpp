#include "units_builder.h"

#include <initializer_list>

#include "units/units.h"

namespace zyl::tools {

namespace {

struct Row {
  const char* name;
  const char* symbol;
  const char* factor;  ///< number or formula; rows are 2-based in formulas (row 2 is the base unit)
  const char* offset = "";
};

void Sheet(platform::Workbook& book, bool first, const char* title, std::initializer_list<Row> rows) {
  if (first) {
    book.RenameSheet(0, title);
  } else {
    book.InsertSheet(title);
  }
  auto& sh = book.sheet(book.FindSheet(title));
  sh.SetText(0, 0, "Unit");
  sh.SetText(0, 1, "Symbol");
  sh.SetText(0, 2, "Factor");
  sh.SetText(0, 3, "Offset");
  int r = 1;
  for (const Row& row : rows) {
    sh.SetText(r, 0, row.name);
    sh.SetText(r, 1, row.symbol);
    sh.SetInput(r, 2, row.factor);
    if (*row.offset) sh.SetInput(r, 3, row.offset);
    ++r;
  }
}

}  // namespace

// Formulas refer to the factor column (C) of earlier rows so that derived units follow their definitions.
void BuildStandardUnits(platform::Workbook& book) {
  Sheet(book, true, "Length",
        {{"metre", "m", "1"}, {"kilometre", "km", "=1000"}, {"centimetre", "cm", "=0.01"}, {"millimetre", "mm", "=0.001"},
         {"micrometre", "um", "=1E-6"}, {"inch", "in", "=0.0254"}, {"foot", "ft", "=12*C7"}, {"yard", "yd", "=3*C8"},
         {"mile", "mi", "=1760*C9"}, {"nautical mile", "nmi", "=1852"}, {"angstrom", "A", "=1E-10"}});
  Sheet(book, false, "Area",
        {{"square metre", "m2", "1"}, {"square kilometre", "km2", "=1E6"}, {"square centimetre", "cm2", "=1E-4"},
         {"square millimetre", "mm2", "=1E-6"}, {"hectare", "ha", "=1E4"}, {"square inch", "in2", "=0.0254^2"},
         {"square foot", "ft2", "=144*C7"}, {"acre", "acre", "=43560*C8"}});
  Sheet(book, false, "Volume",
        {{"cubic metre", "m3", "1"}, {"litre", "l", "=0.001"}, {"millilitre", "ml", "=1E-6"},
         {"cubic centimetre", "cm3", "=1E-6"}, {"cubic inch", "in3", "=0.0254^3"}, {"cubic foot", "ft3", "=1728*C6"},
         {"US gallon", "gal", "=231*C6"}, {"imperial gallon", "galUK", "=0.00454609"}, {"barrel (oil)", "bbl", "=42*C8"}});
  Sheet(book, false, "Mass",
        {{"kilogram", "kg", "1"}, {"gram", "g", "=0.001"}, {"milligram", "mg", "=1E-6"}, {"tonne", "t", "=1000"},
         {"pound", "lb", "=0.45359237"}, {"ounce", "oz", "=C6/16"}, {"short ton", "ton", "=2000*C6"},
         {"long ton", "LT", "=2240*C6"}, {"grain", "gr", "=C6/7000"}});
  Sheet(book, false, "Time",
        {{"second", "s", "1"}, {"minute", "min", "=60"}, {"hour", "h", "=60*C3"}, {"day", "d", "=24*C4"},
         {"week", "wk", "=7*C5"}, {"year (365 d)", "a", "=365*C5"}});
  Sheet(book, false, "Temperature",
        {{"kelvin", "K", "1"}, {"degree Celsius", "C", "1", "=273.15"}, {"degree Fahrenheit", "F", "=5/9", "=459.67*5/9"},
         {"degree Rankine", "R", "=5/9"}});
  Sheet(book, false, "Pressure",
        {{"pascal", "Pa", "1"}, {"kilopascal", "kPa", "=1000"}, {"megapascal", "MPa", "=1E6"}, {"bar", "bar", "=1E5"},
         {"millibar", "mbar", "=100"}, {"standard atmosphere", "atm", "=101325"}, {"torr", "torr", "=C7/760"},
         {"millimetre of mercury", "mmHg", "=133.322387415"},
         {"pound-force per square inch", "psi", "=0.45359237*9.80665/0.0254^2"},
         {"technical atmosphere", "at", "=9.80665E4"}});
  Sheet(book, false, "Energy",
        {{"joule", "J", "1"}, {"kilojoule", "kJ", "=1000"}, {"megajoule", "MJ", "=1E6"}, {"calorie (thermochemical)", "cal", "=4.184"},
         {"kilocalorie (thermochemical)", "kcal", "=1000*C5"}, {"calorie (IT)", "calIT", "=4.1868"},
         {"kilocalorie (IT)", "kcalIT", "=1000*C7"}, {"watt hour", "Wh", "=3600"}, {"kilowatt hour", "kWh", "=1000*C9"},
         {"British thermal unit (IT)", "BTU", "=1055.05585262"}, {"electronvolt", "eV", "=1.602176634E-19"},
         {"erg", "erg", "=1E-7"}});
  Sheet(book, false, "Power",
        {{"watt", "W", "1"}, {"kilowatt", "kW", "=1000"}, {"megawatt", "MW", "=1E6"},
         {"horsepower (mechanical)", "hp", "=550*0.3048*0.45359237*9.80665"}, {"metric horsepower", "PS", "=75*9.80665"},
         {"BTU per hour", "BTU/h", "=1055.05585262/3600"}, {"kilocalorie per hour", "kcal/h", "=4184/3600"}});
  Sheet(book, false, "Flow (volume)",
        {{"cubic metre per second", "m3/s", "1"}, {"cubic metre per hour", "m3/h", "=1/3600"},
         {"litre per second", "l/s", "=0.001"}, {"litre per minute", "l/min", "=0.001/60"},
         {"cubic foot per minute", "cfm", "=0.3048^3/60"}, {"US gallon per minute", "gpm", "=231*0.0254^3/60"}});
  Sheet(book, false, "Flow (mass)",
        {{"kilogram per second", "kg/s", "1"}, {"kilogram per hour", "kg/h", "=1/3600"}, {"tonne per hour", "t/h", "=1000/3600"},
         {"tonne per day", "t/d", "=1000/86400"}, {"pound per hour", "lb/h", "=0.45359237/3600"}});
  Sheet(book, false, "Density",
        {{"kilogram per cubic metre", "kg/m3", "1"}, {"gram per cubic centimetre", "g/cm3", "=1000"},
         {"kilogram per litre", "kg/l", "=1000"}, {"pound per cubic foot", "lb/ft3", "=0.45359237/0.3048^3"},
         {"pound per US gallon", "lb/gal", "=0.45359237/(231*0.0254^3)"}});
  Sheet(book, false, "Velocity",
        {{"metre per second", "m/s", "1"}, {"kilometre per hour", "km/h", "=1/3.6"}, {"foot per second", "ft/s", "=0.3048"},
         {"mile per hour", "mph", "=1609.344/3600"}, {"knot", "kn", "=1852/3600"}});
  Sheet(book, false, "Force",
        {{"newton", "N", "1"}, {"kilonewton", "kN", "=1000"}, {"dyne", "dyn", "=1E-5"}, {"kilogram-force", "kgf", "=9.80665"},
         {"pound-force", "lbf", "=0.45359237*9.80665"}});
  Sheet(book, false, "Heat Capacity",
        {{"joule per kilogram kelvin", "J/(kg*K)", "1"}, {"kilojoule per kilogram kelvin", "kJ/(kg*K)", "=1000"},
         {"kilocalorie per kilogram kelvin", "kcal/(kg*K)", "=4184"}, {"calorie per gram kelvin", "cal/(g*K)", "=4184"},
         {"BTU per pound degree Fahrenheit", "BTU/(lb*F)", "=4186.8"}});
  Sheet(book, false, "Heat Transfer Coefficient",
        {{"watt per square metre kelvin", "W/(m2*K)", "1"}, {"kilocalorie per hour square metre kelvin", "kcal/(h*m2*K)", "=4184/3600"},
         {"BTU per hour square foot degree Fahrenheit", "BTU/(h*ft2*F)", "=1055.05585262/3600/0.3048^2*1.8"}});
  Sheet(book, false, "Thermal Conductivity",
        {{"watt per metre kelvin", "W/(m*K)", "1"}, {"kilocalorie per hour metre kelvin", "kcal/(h*m*K)", "=4184/3600"},
         {"BTU per hour foot degree Fahrenheit", "BTU/(h*ft*F)", "=1055.05585262/3600/0.3048*1.8"}});
  Sheet(book, false, "Viscosity (dynamic)",
        {{"pascal second", "Pa*s", "1"}, {"millipascal second", "mPa*s", "=0.001"}, {"poise", "P", "=0.1"},
         {"centipoise", "cP", "=0.001"}, {"pound per foot second", "lb/(ft*s)", "=0.45359237/0.3048"}});
  Sheet(book, false, "Viscosity (kinematic)",
        {{"square metre per second", "m2/s", "1"}, {"stokes", "St", "=1E-4"}, {"centistokes", "cSt", "=1E-6"},
         {"square foot per second", "ft2/s", "=0.3048^2"}});
  Sheet(book, false, "Concentration",
        {{"kilogram per cubic metre", "kg/m3", "1"}, {"gram per litre", "g/l", "=1"}, {"milligram per litre", "mg/l", "=0.001"},
         {"gram per cubic metre", "g/m3", "=0.001"}, {"microgram per litre", "ug/l", "=1E-6"}});
  units::WritePrefixSheet(book);
  book.Recalculate();
}

std::string WriteStandardUnits(const std::filesystem::path& path) {
  platform::Workbook book;
  BuildStandardUnits(book);
  return book.Save(path);
}

}  // namespace zyl::tools
