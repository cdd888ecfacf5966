// Units of length and the planet's radius.
#ifndef VISTARA_PLATFORM_UNITS_H_
#define VISTARA_PLATFORM_UNITS_H_

namespace vistara {

class Units {
 public:
  // The host's length types. The numbers are the host's and are part of the interface.
  enum LType {
    kMillimeters = 0,
    kCentimeters = 1,
    kMeters = 2,
    kKilometers = 3,
    kInches = 4,
    kFeet = 5,
    kYards = 6,
    kMiles = 7,
    // The unit of the scene: one planet radius, 6 371 010 m. Native altitudes and the orbit
    // code's positions are in this unit.
    kPlanetRadii = 8,
    kNauticalMiles = 9,
    kDecimeters = 10,
    kFathoms = 11,
    kLightYears = 12,
    // The astronomical unit, 149 597 870 700 m (IAU 2012).
    kAstronomicalUnits = 13,
  };

  static constexpr double kPlanetRadiusMeters = 6371010.0;
  // One over the planet's radius in metres: metres times this are planet radii.
  static constexpr double s_inv_planet_radius = 1.0 / 6371010.0;
  static constexpr double kAstronomicalUnitMeters = 149597870700.0;

  // Metres in one unit of `type`; 0 for a value outside LType.
  static double MetersPerUnit(LType type);
  // `length` in `from` units, expressed in `to` units. An unknown type on either side gives 0.
  static double ConvertLength(double length, LType from, LType to);
};

}  // namespace vistara

#endif  // VISTARA_PLATFORM_UNITS_H_
