#pragma once

struct __locale_struct;

namespace qz::text {

/// Tells whether the locales and the conversions stand.
bool areServicesUp();

/// A number that each start and stop of the text services raises, so that a text that was converted
/// before can be told from one that would be converted now.
unsigned getServicesGeneration();

/// The C locale for numbers: that of the services or, while it is missing, one that stays.
__locale_struct* getCLocale();

}  // namespace qz::text
