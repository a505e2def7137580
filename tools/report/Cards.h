#pragma once

#include <string>

#include "preset/PresetBank.h"
#include "recovery/Bank.h"

namespace report {

/// Size of a card, in the units of its drawing.
inline constexpr int cardWidth = 124;
inline constexpr int cardHeight = 204;

/// The colours of all drawings, as CSS variables and rules for their classes: for a <style> element
/// of the page or of the picture that holds them. `withDark` adds those for a dark page.
std::string drawingStyle(bool withDark);

/// What all cards have in common, for a <defs> element in the same document.
std::string cardDefinition();

/// A preset drawn as a card, without an element around it. `bank` is in the revision-3 arrangement,
/// `record` the index of the preset. Where `reading` is not null, its verdict is shown, and its
/// doubtful bits, in the same arrangement, are marked at what they stand for.
std::string card(const PresetBank& bank, int record,
                 const recovery::PresetReading* reading = nullptr);

/// The keys of the preset's doubtful fields, such as "FILT_ATK, GLIDE"; empty where there are none.
/// `reading` as above.
std::string doubtfulKeys(const recovery::PresetReading& reading);

/// A card enlarged and beside each part of it what it shows; without an element around it, 1,062
/// wide and 426 high.
std::string cardLegend(const PresetBank& bank, int record);

/// `bank` and the doubtful bits of `reading` moved from the revision-1 arrangement to that of
/// revision 3.
recovery::BankReading asRevision3(const recovery::BankReading& reading);

}  // namespace report
