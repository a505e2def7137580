#pragma once

#include <string>

#include "preset/PresetBank.h"
#include "recovery/Bank.h"

namespace report {

/// Size of a card, in the units of its drawing.
inline constexpr int cardWidth = 124;
inline constexpr int cardHeight = 204;

/// What all cards have in common, for a <defs> element in the same document.
std::string cardDefinition();

/// A preset drawn as a card, without an element around it. `bank` is in the revision-3 arrangement,
/// `record` the index of the preset. Where `reading` is not null, its verdict is shown, and its
/// doubtful bits, in the same arrangement, are marked at what they stand for.
std::string card(const PresetBank& bank, int record,
                 const recovery::PresetReading* reading = nullptr);

/// The same as a picture of its own, an <svg> element that needs `cardDefinition()`.
std::string cardDrawing(const recovery::BankReading& reading, int record);

/// What to write under that: the doubtful fields, or how many they are where they are many. Empty
/// where the doubt is not of single fields.
std::string cardNote(const recovery::BankReading& reading, int record);

/// What the parts of a card are, for readers.
inline constexpr const char* cardsCaption =
    "From top to bottom: envelopes of amplifier and filter; waves and frequencies of oscillators A "
    "and B and of the LFO; levels of mixer, filter and modulation; switches of the modulations. "
    "Doubtful fields have a dashed frame.";

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
