// UTM positions as text for the user, and such text read back.
//
// Formatting gives three strings: the zone ("31 U"), the easting ("448251.90 m E") and the
// northing ("5411943.79 m N", or "... m S" south of the equator, still with the 10 000 km false
// northing). The unit texts are translatable (context "QObject"), read on the first call and
// read again on later calls for as long as the translated easting text is empty.
//
// Parsing takes either three fields (zone, easting, northing) or one line ("31U 448251 5411932").
// Only whole metres are read: in each number, the first run of digits counts and the rest (a
// fraction, the unit) is ignored. Zone numbers are taken by their low 8 bits, so 257 reads as 1.
//
// All functions return false on failure and then leave their outputs untouched; nothing is
// logged. Any text is safe input. Called on one thread at a time (the host's object-model
// thread): the unit texts and the compiled patterns are process-wide.
#ifndef VISTARA_SPATIAL_UTM_STRINGS_H_
#define VISTARA_SPATIAL_UTM_STRINGS_H_

#include <QString>

namespace vistara::spatial {

// Formats (latitude, longitude) (degrees). False if the zone's band is "Z": a latitude above 84
// or NaN. Below -80 the band is "A" and the position is still formatted, as a southern one.
bool CreateUTMStrings(double latitude, double longitude, QString* zone, QString* easting, QString* northing);

// Reads a zone such as "32T" or "32 t" and the easting and northing (metres) into a latitude and
// longitude (degrees). False if the zone number (low 8 bits) is not 1 to 60 or the letter is not
// one of "C" to "X" without "I" and "O". An easting or northing with no digits counts as 0.
bool ParseLatLonFromUTM(const QString& zone, const QString& easting, const QString& northing, double* latitude,
                        double* longitude);

// Reads one line "ZONE LETTER EASTING NORTHING" (the letter may follow the number with or
// without blanks; anything after the northing is ignored). False also when the result, truncated
// to whole degrees, is outside [-90, 90] x [-180, 180].
bool ParseLatLonFromUTM(const QString& text, double* latitude, double* longitude);

}  // namespace vistara::spatial

#endif  // VISTARA_SPATIAL_UTM_STRINGS_H_
