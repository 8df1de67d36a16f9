#pragma once

// Layout of the pollutants library (type 9, "Stoffe.abs").

namespace korvel::meteo {

inline constexpr int kPollutantsLibType = 9;

// Particle size classes of the Gaussian model; the index is stored in "Kornfraktion".
inline constexpr const char* kParticleSizeClasses[] = {"0", "1 (<2.5 µm)", "2 (2.5-10 µm)", "3 (10-50 µm)",
                                                       "4 (>50 µm)"};
inline constexpr int kParticleSizeClassCount = 5;

// Percentile evaluated when an older table has no "Perc" field.
inline constexpr double kDefaultPercentile = 98.0;

} // namespace korvel::meteo
