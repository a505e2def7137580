#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>
#include <string>

#include "cli/ProgramTest.h"
#include "signal/WavFile.h"
#include "support/Banks.h"

namespace {

using ::testing::Values;

struct Recording {
  std::string name;
  std::string file;
  std::string formatLine;
  std::string verdict;
};

void PrintTo(const Recording& recording, std::ostream* stream) { *stream << recording.name; }

class FormatCheck : public ConverterTest, public ::testing::WithParamInterface<Recording> {};

TEST_P(FormatCheck, PrintsTheFormatAndWritesTheVerdict) {
  give("x.wav", GetParam().file);
  expectOutcome({"x.wav", "out", "-CheckWavFormat"},
                {.output = "reading tape data..\n" + GetParam().formatLine,
                 .written = {{"out/format", GetParam().verdict}}});
}

const std::string silence(4800, '\0');

std::string ofRate(std::uint32_t sampleRate) {
  return wavFile({.sampleRate = sampleRate}, silence);
}

INSTANTIATE_TEST_SUITE_P(
    Rates, FormatCheck,
    Values(Recording{"Right", ofRate(44100), "Wav format -> SampleRate 44100 BitDepth 16\n",
                     "OK: SampleRate 44100\n"},
           Recording{"OneLess", ofRate(44099), "Wav format -> SampleRate 44099 BitDepth 16\n",
                     "WRONG SAMPLERATE: SampleRate 44099\n"},
           Recording{"OneMore", ofRate(44101), "Wav format -> SampleRate 44101 BitDepth 16\n",
                     "WRONG SAMPLERATE: SampleRate 44101\n"},
           Recording{"Higher", ofRate(48000), "Wav format -> SampleRate 48000 BitDepth 16\n",
                     "WRONG SAMPLERATE: SampleRate 48000\n"},
           Recording{"RightInTheLow16Bits", ofRate(44100 + 65536),
                     "Wav format -> SampleRate 109636 BitDepth 16\n",
                     "WRONG SAMPLERATE: SampleRate 109636\n"},
           Recording{"None", ofRate(0), "Wav format -> SampleRate 0 BitDepth 16\n",
                     "WRONG SAMPLERATE: SampleRate 0\n"},
           Recording{"HighestSigned", ofRate(0x7FFFFFFF),
                     "Wav format -> SampleRate 2147483647 BitDepth 16\n",
                     "WRONG SAMPLERATE: SampleRate 2147483647\n"},
           Recording{"LowestSigned", ofRate(0x80000000),
                     "Wav format -> SampleRate -2147483648 BitDepth 16\n",
                     "WRONG SAMPLERATE: SampleRate -2147483648\n"},
           Recording{"AllBitsSet", ofRate(0xFFFFFFFF), "Wav format -> SampleRate -1 BitDepth 16\n",
                     "WRONG SAMPLERATE: SampleRate -1\n"}),
    nameOf);

std::string ofDepth(int bitsPerSample) {
  return wavFile({.bitsPerSample = bitsPerSample}, silence);
}

INSTANTIATE_TEST_SUITE_P(
    Depths, FormatCheck,
    Values(Recording{"8", ofDepth(8), "Wav format -> SampleRate 44100 BitDepth 8\n",
                     "OK: SampleRate 44100\n"},
           Recording{"16", ofDepth(16), "Wav format -> SampleRate 44100 BitDepth 16\n",
                     "OK: SampleRate 44100\n"},
           Recording{"24", ofDepth(24), "Wav format -> SampleRate 44100 BitDepth 24\n",
                     "OK: SampleRate 44100\n"},
           Recording{"32", ofDepth(32), "Wav format -> SampleRate 44100 BitDepth 32\n",
                     "OK: SampleRate 44100\n"},
           Recording{"40", ofDepth(40), "Wav format -> SampleRate 44100 BitDepth 40\n",
                     "OK: SampleRate 44100\n"},
           Recording{"Highest", ofDepth(65528), "Wav format -> SampleRate 44100 BitDepth 65528\n",
                     "OK: SampleRate 44100\n"},
           Recording{"None", wavFile({.bitsPerSample = 0, .blockAlign = 1}, silence),
                     "Wav format -> SampleRate 44100 BitDepth 0\n", "OK: SampleRate 44100\n"},
           Recording{"24AtAnotherRate",
                     wavFile({.sampleRate = 96000, .bitsPerSample = 24}, silence),
                     "Wav format -> SampleRate 96000 BitDepth 24\n",
                     "WRONG SAMPLERATE: SampleRate 96000\n"},
           Recording{"StereoIsJudgedAlike", wavFile({.numChannels = 2}, silence),
                     "Wav format -> SampleRate 44100 BitDepth 16\n", "OK: SampleRate 44100\n"},
           Recording{"NoSamples", wavFile({}, ""), "Wav format -> SampleRate 44100 BitDepth 16\n",
                     "OK: SampleRate 44100\n"}),
    nameOf);

Recording notLoaded(const std::string& name, const std::string& file) {
  return {name, file, "Wav format -> SampleRate 0 BitDepth 0\n",
          "WRONG SAMPLERATE: SampleRate 0\n"};
}

INSTANTIATE_TEST_SUITE_P(
    NotLoaded, FormatCheck,
    Values(notLoaded("Empty", ""),
           notLoaded("Text", "This is not a WAV file, though it says so.\n"),
           notLoaded("Sysex", sysexFile(bytesOf(randomBank(1)))),
           notLoaded("FirstBytesOnly", wavFile({}, silence).substr(0, 19)),
           notLoaded("CutInTheHeader", wavFile({}, silence).substr(0, 36)),
           notLoaded("12Bits", wavFile({.bitsPerSample = 12, .blockAlign = 2}, silence)),
           notLoaded("FloatingPoint", wavFile({.audioFormat = 3, .bitsPerSample = 32}, silence)),
           notLoaded("LongFormatChunk", wavFile({.formatExtension = {0, 0}}, silence)),
           notLoaded("ListBeforeTheData",
                     wavFile({.chunksBeforeData = wavChunk("LIST", "INFO")}, silence))),
    nameOf);

/// A run of the format check on a recording of the right rate.
class FormatReport : public ConverterTest {
 protected:
  FormatReport() { give("x.wav", tapeRecording(bytesOf(randomBank(1)).substr(0, 24))); }
};

const std::string rightFormat =
    "reading tape data..\n"
    "Wav format -> SampleRate 44100 BitDepth 16\n";

TEST_F(FormatReport, ReplacesAnOlderOne) {
  give("out/format", "WRONG SAMPLERATE: SampleRate 48000\nand more\n");
  expectOutcome({"x.wav", "out", "-CheckWavFormat"},
                {.output = rightFormat, .written = {{"out/format", "OK: SampleRate 44100\n"}}});
}

TEST_F(FormatReport, LeavesTransferFilesAlone) {
  give("out/preset1-1.txt", "of a run before");
  expectOutcome({"x.wav", "out", "-CheckWavFormat"},
                {.output = rightFormat, .written = {{"out/format", "OK: SampleRate 44100\n"}}});
}

TEST_F(FormatReport, IsAllThatIsWrittenWithAConversion) {
  expectOutcome({"x.wav", "out", "-R1", "-CheckWavFormat", "-R2"},
                {.output = rightFormat, .written = {{"out/format", "OK: SampleRate 44100\n"}}});
}

TEST_F(FormatReport, IsWrittenOnceForARepeatedOption) {
  expectOutcome({"x.wav", "out", "-CheckWavFormat", "-CheckWavFormat"},
                {.output = rightFormat, .written = {{"out/format", "OK: SampleRate 44100\n"}}});
}

TEST_F(FormatReport, GoesToAFolderNamedAfterTheOption) {
  giveFolder("-CheckWavFormat");
  expectOutcome(
      {"x.wav", "-CheckWavFormat"},
      {.output = rightFormat, .written = {{"-CheckWavFormat/format", "OK: SampleRate 44100\n"}}});
}

TEST_F(FormatReport, GoesToAFolderWrittenWithASlash) {
  expectOutcome({"x.wav", "out/", "-CheckWavFormat"},
                {.output = rightFormat, .written = {{"out/format", "OK: SampleRate 44100\n"}}});
}

struct Unwritable {
  std::string name;
  std::string outputFolder;
  std::string message;
};

void PrintTo(const Unwritable& unwritable, std::ostream* stream) { *stream << unwritable.name; }

class FormatReportThatCannotBeOpened : public FormatReport,
                                       public ::testing::WithParamInterface<Unwritable> {
 protected:
  FormatReportThatCannotBeOpened() { giveFolder("taken/format"); }
};

TEST_P(FormatReportThatCannotBeOpened, EndsTheRun) {
  expectOutcome({"x.wav", GetParam().outputFolder, "-CheckWavFormat"},
                {.output = "reading tape data..\n" + GetParam().message, .status = 255});
}

TEST_P(FormatReportThatCannotBeOpened, EndsTheRunBeforeAConversion) {
  expectOutcome({"x.wav", GetParam().outputFolder, "-CheckWavFormat", "-R1"},
                {.output = "reading tape data..\n" + GetParam().message, .status = 255});
}

INSTANTIATE_TEST_SUITE_P(
    Report, FormatReportThatCannotBeOpened,
    Values(Unwritable{"MissingFolder", "nofolder", "can't open nofolder/format\n"},
           Unwritable{"SlashIsAlwaysAdded", "nofolder/", "can't open nofolder//format\n"},
           Unwritable{"FolderOfThatName", "taken", "can't open taken/format\n"},
           Unwritable{"FileInPlaceOfTheFolder", "x.wav", "can't open x.wav/format\n"},
           Unwritable{"PercentSigns", "%s%n", "can't open %s%n/format\n"}),
    nameOf);

}  // namespace
