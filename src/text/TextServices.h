#pragma once

namespace qz::text {

/// Tells whether the locales and the conversions stand.
bool areServicesUp();

/// A number that each start and stop of the text services raises, so that a text that was converted
/// before can be told from one that would be converted now.
unsigned getServicesGeneration();

}  // namespace qz::text
