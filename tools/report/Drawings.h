#pragma once

#include <cstddef>
#include <string>

#include "recovery/Take.h"
#include "report/Measures.h"
#include "report/Report.h"

namespace report {

// Each drawing is an <svg> element as wide as what holds it and of a fixed height, so that its
// writing stays readable on a phone. They need drawingStyle(), drawingRules() and
// drawingDefinitions() in the same document. Each is empty where there is nothing to draw.

std::string drawingRules();
std::string drawingDefinitions();

/// The level of a recording over time in dBFS, with leader, start marker, drop-outs and the presets
/// as bands by verdict.
std::string levelDrawing(const Results& results, std::size_t recording);

/// The same from a second before the dump to a second after it; empty where levelDrawing() shows
/// the dump large enough.
std::string dumpDrawing(const Results& results, std::size_t recording);

/// The speed of the tape over the dump, with the range that the converter bears.
std::string speedDrawing(const Recording& recording, const Measures& measures);

/// How often each length of a half-period occurs, with the converter's two ranges.
std::string halfPeriodDrawing(const Recording& recording);

/// The spectrum of the dump with the two tones and the hum.
std::string spectrumDrawing(const Recording& recording, const Measures& measures);

/// The highest magnitude of a piece of wave, above 0.
double peakOf(const recovery::WavePiece& wave);

/// A doubtful place: the bits as read and as nearly read, the wave, and its half-periods.
std::string placeDrawing(const recovery::Take& take, const recovery::DoubtfulPlace& place);

}  // namespace report
