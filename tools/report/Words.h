#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "recovery/Bank.h"
#include "recovery/Take.h"
#include "report/Report.h"

namespace report {

/// `value` with `decimals` digits behind the point, such as "-14.2"; "0" where it is no number.
std::string decimal(double value, int decimals);

/// A whole number with a comma before each three digits, such as "44,100".
std::string grouped(std::int64_t number);

/// A time or a length as m:ss.mmm, such as "1:02.345".
std::string clock(double seconds);

/// "1 drop-out", "4 drop-outs", "no drop-outs".
std::string counted(int count, std::string_view noun);

/// Adds an item to a list such as "GLIDE, UNISON".
void addToList(std::string& list, std::string_view item);

/// `text` as valid UTF-8 without control characters; U+FFFD stands for each byte of anything else.
std::string shown(std::string_view text);

/// `name`, which is valid UTF-8, or the end of it where it has more than `most` bytes.
std::string shortened(const std::string& name, std::size_t most);

/// `shown(text)` for the content and the attributes of HTML and SVG.
std::string escaped(std::string_view text);

/// The preset of a record, such as "2-3".
std::string presetName(int record);

const char* verdictWord(recovery::Verdict verdict);  // "sure"
const char* reasonWord(recovery::Reason reason);     // "drop-out", for programs

/// Why a preset is not sure, such as "the tones are too weak or gone".
const char* reasonSentence(const recovery::PresetReading& preset);

/// Said ahead of what is wrong with recordings where all presets are sure.
inline constexpr const char* allReadRemark =
    "It costs no preset, and matters only if you give the recording itself to the converter, or "
    "record again:";

/// What to do where the converter fails.
inline constexpr const char* bankRemedy =
    "Give the converter the bank read here, not the recording.";

/// How to write the bank for the converter, as a sentence after a space; empty where not all
/// presets are sure, or the program has no such option.
std::string howToWrite(const Results& results);

/// The presets that are doubtful only because it is not sure where the data begin, such as "37
/// presets, 1-4 to 5-8: where the data begin is not sure"; empty for fewer than two.
std::string beginningPresets(const recovery::BankReading& bank);

/// How loud something is, such as "peaks at -20.3 dBFS" for the part of full scale `magnitude`.
std::string peaksAt(double magnitude);

/// A channel of the frames, such as "the second channel" for 1.
std::string channelName(int index);

/// Where a take was read from, such as "the first channel, inverted".
std::string sourceSentence(const recovery::Take& take);

/// Which of the dumps of a recording is used, such as "2 of 3"; empty where there is only one.
std::string dumpNumber(const Recording& recording);

/// How much of the leader was read, such as "leader 300 bits".
std::string leaderSentence(const recovery::Take& take);

/// "WAV, 16-bit PCM, 44,100 Hz, stereo, 0:34.120".
std::string formatSentence(const Recording& recording);

/// What the converter does with the file, such as "gets 3 presets wrong: 1-4, 1-5, 2-1".
std::string converterSentence(const Results& results, const Recording& recording);

/// What lies before the leader, such as "12.4 s before it, with peaks at -20.3 dBFS".
std::string beforeSentence(const Recording& recording);

}  // namespace report
