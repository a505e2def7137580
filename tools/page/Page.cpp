#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "files/SysexFile.h"
#include "page/Heard.h"
#include "preset/Kestrel7SysexReaderWriter.h"
#include "preset/PresetBank.h"
#include "recovery/Bank.h"
#include "recovery/DumpSearch.h"
#include "report/Cards.h"
#include "report/Report.h"
#include "report/Style.h"
#include "report/Words.h"
#include "signal/DumpRecording.h"
#include "transfer/writeTransferFiles.h"

// What the page calls. A module holds one session: the recordings of one dump, or one bank. Text
// and bytes come in through `input` and samples through `samples`; what a function answers lies at
// `output`, as long as its result says.

namespace {

enum class Revision : std::uint8_t { OneOrTwo = 1, Three = 3 };

struct Session {
  report::Results results;
  std::optional<recovery::DumpSearch> search;
  std::optional<Heard> heard;
  std::vector<std::string> whatElse;  // what each recording holds besides a dump
};

Session session;
std::vector<char> inputBytes;
std::vector<float> inputSamples;
std::string outputBytes;
std::vector<double> bitValues;

int answer(std::string bytes) {
  outputBytes = std::move(bytes);
  return static_cast<int>(outputBytes.size());
}

std::string_view inputText() { return {inputBytes.data(), inputBytes.size()}; }

report::Recording& currentRecording() { return session.results.recordings.back(); }

recovery::BankReading readingFor(Revision revision) {
  return revision == Revision::Three ? session.results.bank
                                     : report::asRevision3(session.results.bank);
}

}  // namespace

#ifdef __wasm__
#define EXPORT(name) extern "C" __attribute__((export_name(#name)))
#else
#define EXPORT(name) extern "C"
#endif

/// Given by the page: throws what it catches as lack of memory.
extern "C" void outOfMemory();

EXPORT(initialize) void initialize() {
  std::set_new_handler(outOfMemory);
  session.results.program = "kestrel7.html " KESTREL7_VERSION;
}

EXPORT(input) char* input(int size) {
  inputBytes.resize(static_cast<std::size_t>(size));
  return inputBytes.data();
}

EXPORT(samples) float* samples(int count) {
  inputSamples.resize(static_cast<std::size_t>(count));
  return inputSamples.data();
}

EXPORT(output) const char* output() { return outputBytes.data(); }

/// Begins a recording. The input is its name, container and codec, each but the last with a zero
/// byte behind it.
EXPORT(beginRecording) void beginRecording(double sampleRate, int channels, int bits, int isLossy) {
  report::Recording& recording = session.results.recordings.emplace_back();
  const std::string_view text = inputText();
  const std::size_t first = text.find('\0');
  const std::size_t second = text.find('\0', first + 1);
  recording.name = text.substr(0, first);
  recording.container = text.substr(first + 1, second - first - 1);
  recording.codec = text.substr(second + 1);
  recording.bits = bits;
  recording.isLossy = isLossy != 0;
  session.search.emplace(sampleRate, channels);
  session.heard.emplace(sampleRate, channels);
}

/// Takes the next samples, interleaved.
EXPORT(addFrames) void addFrames(int frames) {
  session.search->add(inputSamples.data(), static_cast<std::size_t>(frames));
  session.heard->add(inputSamples.data(), static_cast<std::size_t>(frames));
}

/// Ends it. Returns the channel that its dump was read from, or -1 where there is no dump.
EXPORT(endRecording) int endRecording() {
  report::Recording& recording = currentRecording();
  recording.takes = session.search->finish();
  recording.facts = session.search->facts();
  recording.chosenTake = recovery::bestTake(recording.takes);
  session.whatElse.push_back(session.heard->words());
  session.search.reset();
  session.heard.reset();
  const recovery::Take* take = recording.take();
  return take != nullptr ? take->channelIndex : -1;
}

/// What the recording holds besides a dump.
EXPORT(whatElse) int whatElse(int recording) {
  return answer(session.whatElse[static_cast<std::size_t>(recording)]);
}

/// Reads the bank from all recordings together. Returns -1, or where two hold different dumps, the
/// first of them plus 1,000 times the second.
EXPORT(readRecordings) int readRecordings() {
  const recovery::DifferentDumps different = report::readBank(session.results);
  return different.found() ? different.first + 1000 * different.second : -1;
}

/// Reads the SysEx bank file in the input. Returns whether it is complete.
EXPORT(readBankFile) int readBankFile() {
  if (!isCompleteSysexBank(inputText())) {
    return 0;
  }
  std::FILE* file = fmemopen(inputBytes.data(), inputBytes.size(), "rb");
  if (file == nullptr) {
    return 0;
  }
  PresetBank& bank = session.results.bank.bank;
  Kestrel7SysexReaderWriter::getRawBankDataFromSysexFile(file, bank.data());
  std::fclose(file);
  for (recovery::PresetReading& preset : session.results.bank.presets) {
    preset.verdict = recovery::Verdict::Sure;
    preset.reason = recovery::Reason::None;
  }
  return 1;
}

EXPORT(json) int json() { return answer(report::jsonReport(session.results)); }

/// What a recording is, such as "WAV, 16-bit PCM, 44,100 Hz, mono, 0:31.600".
EXPORT(format) int format(int recording) {
  return answer(
      report::formatSentence(session.results.recordings[static_cast<std::size_t>(recording)]));
}

/// The bits of the dump in a recording: for each of the 7,680 its start and its end in seconds, and
/// its value. Returns where these lie, or null where there is no dump.
EXPORT(bits) const double* bits(int recording) {
  const recovery::Take* take =
      session.results.recordings[static_cast<std::size_t>(recording)].take();
  if (take == nullptr) {
    return nullptr;
  }
  bitValues.clear();
  for (const recovery::BitReading& bit : take->bits) {
    bitValues.insert(bitValues.end(), {bit.start, bit.end, static_cast<double>(bit.value)});
  }
  return bitValues.data();
}

// These three are what build.js takes for the page itself.
EXPORT(pageStyle) int pageStyle() {
  return answer(report::drawingStyle(true) + report::pageStyle());
}

EXPORT(cardsCaption) int cardsCaption() { return answer(report::cardsCaption); }

EXPORT(cardDefinition) int cardDefinition() { return answer(report::cardDefinition()); }

/// The card of a preset, read from an instrument of `revision`.
EXPORT(card) int card(int record, Revision revision) {
  return answer(report::cardDrawing(readingFor(revision), record));
}

EXPORT(cardNote) int cardNote(int record, Revision revision) {
  return answer(report::cardNote(readingFor(revision), record));
}

EXPORT(doubtfulKeys) int doubtfulKeys(int record, Revision revision) {
  return answer(report::doubtfulKeys(readingFor(revision).preset(record)));
}

/// Why a preset is not sure; empty where it is.
EXPORT(reason) int reason(int record) {
  return answer(report::reasonSentence(session.results.bank.preset(record)));
}

/// The transfer file of a preset, as the converter writes it.
EXPORT(transferFile) int transferFile(int record, Revision revision) {
  return answer(transferText(readingFor(revision).bank.data() +
                             static_cast<std::ptrdiff_t>(record) * presetSize));
}

EXPORT(sysexFile) int sysexFile() { return answer(sysexBankFile(session.results.bank.bank)); }

EXPORT(wavFile) int wavFile() {
  const PresetBank& bank = session.results.bank.bank;
  return answer(dumpRecording({bank.data(), bank.size()}));
}

EXPORT(htmlReport) int htmlReport() { return answer(report::htmlReport(session.results)); }
