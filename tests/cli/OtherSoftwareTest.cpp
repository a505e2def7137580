#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "cli/ProgramTest.h"
#include "docs/Documents.h"
#include "support/Banks.h"
#include "support/Files.h"
#include "support/Process.h"

namespace {

using ::testing::HasSubstr;
using ::testing::UnorderedElementsAreArray;
using ::testing::Values;

using Commands = std::vector<std::string>;

// Each makes an acceptable fixed.wav out of recording.wav; remix and pan pick the channel.
const std::string sox = "sox -D recording.wav -b 16 -e signed-integer -r 44100 fixed.wav remix 1";
const std::string soxRight =
    "sox -D recording.wav -b 16 -e signed-integer -r 44100 fixed.wav remix 2";
const std::string soxFrom190s =
    "sox -D recording.wav -b 16 -e signed-integer -r 44100 fixed.wav remix 1 trim 190";
const std::string ffmpeg =
    "ffmpeg -i recording.wav -c:a pcm_s16le -ar 44100 -af \"pan=mono|c0=c0\" -bitexact "
    "-map_metadata -1 fixed.wav";
const std::string ffmpegRight =
    "ffmpeg -i recording.wav -c:a pcm_s16le -ar 44100 -af \"pan=mono|c0=c1\" -bitexact "
    "-map_metadata -1 fixed.wav";
const std::string ffmpegFrom190s =
    "ffmpeg -ss 190 -i recording.wav -c:a pcm_s16le -ar 44100 -af \"pan=mono|c0=c0\" -bitexact "
    "-map_metadata -1 fixed.wav";
const std::string sndfile = "sndfile-convert -pcm16 recording.wav fixed.wav";

const Commands anyProgram{sox, ffmpeg, sndfile};

enum class Verdict {
  AllRight,
  AllZero,   // loaded, but without a leader or without a start marker
  Wrong,     // loaded, but bits are lost
  Rejected,  // not loaded, so all presets are zero
  Aborted,   // by the assertion on the range of the samples
};

struct Format {
  int sampleRate;
  int bitDepth;
};

constexpr Format noFormat{0, 0};
constexpr Format usualFormat{44100, 16};

/// How a program writes the recording in tape.wav to recording.wav, and what becomes of that.
struct Writing {
  std::string name;
  std::string command;
  Verdict verdict;
  Format format;  // that the format check finds
  std::string reason;
  Commands remedies;
};

void PrintTo(const Writing& writing, std::ostream* stream) { *stream << writing.command; }

Writing allRight(const std::string& name, const std::string& command, const std::string& reason,
                 Format format = usualFormat) {
  return {name, command, Verdict::AllRight, format, reason, {}};
}

Writing rejected(const std::string& name, const std::string& command, const std::string& reason,
                 const Commands& remedies) {
  return {name, command, Verdict::Rejected, noFormat, reason, remedies};
}

Writing aborted(const std::string& name, const std::string& command, const Commands& remedies) {
  const std::string reason = "any 32-bit sample but 0 is out of range";
  return {name, command, Verdict::Aborted, noFormat, reason, remedies};
}

Writing allZero(const std::string& name, const std::string& command, const std::string& reason,
                Format format, const Commands& remedies) {
  return {name, command, Verdict::AllZero, format, reason, remedies};
}

Writing wrong(const std::string& name, const std::string& command, const std::string& reason,
              Format format, const Commands& remedies) {
  return {name, command, Verdict::Wrong, format, reason, remedies};
}

const std::string plain = "the samples follow a format chunk of 16 bytes";
const std::string signed8 = "read as signed, 8-bit samples only change their polarity";
const std::string extensible = "the format chunk has 40 bytes (extensible)";
const std::string notPcm = "the format code is not that of integer PCM";
const std::string list = "a LIST chunk stands before the samples";
const std::string bext = "a bext chunk stands before the samples";
const std::string bigEndian = "the file begins with RIFX";
const std::string rf64 = "the file begins with RF64";

enum class Channels { Mono, Stereo };

std::string headOf(const std::string& path) {
  std::string head(80, '\0');
  std::ifstream(path, std::ios::binary).read(head.data(), 80);
  return path + " begins with " + ::testing::PrintToString(head);
}

class OtherSoftwareTest : public ConverterTest {
 protected:
  /// Runs a command line in the folder of the recordings.
  void perform(const std::string& command) {
    const ProcessResult result = runInShell(command, {.workingFolder = tapes.path()});
    ASSERT_EQ(result.status, 0) << command << "\n" << result.errors;
  }

  /// Makes tape.wav, 44,100 Hz and 16 bits, in place of all earlier recordings.
  void makeTape(Channels channels) {
    static const std::string recording = exampleRecording();
    for (const std::string& earlier : filesIn(tapes.path())) {
      std::filesystem::remove(tapes / earlier);
    }
    writeFile(tapes / "tape.wav", recording);
    if (channels == Channels::Stereo) {
      perform("mv tape.wav mono.wav && sox mono.wav -c 2 tape.wav");
    }
  }

  void expectVerdict(const Writing& writing) {
    SCOPED_TRACE(writing.command + ": " + writing.reason);
    switch (writing.verdict) {
      case Verdict::AllRight:
        expectPresets("recording.wav", rightPresets);
        break;
      case Verdict::AllZero:
      case Verdict::Rejected:
        expectPresets("recording.wav", zeroPresets);
        break;
      case Verdict::Wrong:
        expectWrongPresets("recording.wav");
        break;
      case Verdict::Aborted:
        return expectAbort("recording.wav");
    }
    expectFormat("recording.wav", writing.format);
  }

  void expectRemedy(const std::string& command) {
    SCOPED_TRACE(command);
    ASSERT_NO_FATAL_FAILURE(perform(command));
    expectPresets("fixed.wav", rightPresets);
    expectFormat("fixed.wav", usualFormat);
    std::filesystem::remove(tapes / "fixed.wav");
  }

  void expectPresets(const std::string& recording, const FileTree& presets) {
    expectRun(recording, {}, {.output = readingTape, .written = presets});
  }

  void expectWrongPresets(const std::string& recording) {
    emptyOut();
    EXPECT_EQ(runProgram({tapes / recording, "out"}).output, readingTape);
    EXPECT_LT(filesAsIn(rightPresets), 40);
    EXPECT_LT(filesAsIn(zeroPresets), 40);
  }

  void expectAbort(const std::string& recording) {
    const Outcome abort{.output = readingTape, .signal = SIGABRT, .errors = HasSubstr("v <= 1.0")};
    expectRun(recording, {}, abort);
    expectRun(recording, {"-CheckWavFormat"}, abort);
  }

  void expectFormat(const std::string& recording, Format format) {
    const std::string rate = std::to_string(format.sampleRate);
    const std::string verdict = format.sampleRate == 44100 ? "OK" : "WRONG SAMPLERATE";
    expectRun(recording, {"-CheckWavFormat"},
              {.output = readingTape + "Wav format -> SampleRate " + rate + " BitDepth " +
                         std::to_string(format.bitDepth) + "\n",
               .written = {{"out/format", verdict + ": SampleRate " + rate + "\n"}}});
  }

  /// Runs the converter with an empty folder "out".
  void expectRun(const std::string& recording, const std::vector<std::string>& options,
                 const Outcome& expected) {
    SCOPED_TRACE(headOf(tapes / recording));
    emptyOut();
    std::vector<std::string> arguments{tapes / recording, "out"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    expectOutcome(arguments, expected);
  }

  const std::string readingTape = "reading tape data..\n";
  const FileTree rightPresets = transferFiles("out", bankOf(readFile(EXAMPLE_BANK_PATH)));
  const FileTree zeroPresets = transferFiles("out", std::string(960, '\0'));

 private:
  std::string exampleRecording() {
    const std::string path = tapes / "example.wav";
    EXPECT_EQ(run({SYSEX_TO_TAPE_PATH, EXAMPLE_BANK_PATH, path}).status, 0);
    return readFile(path);
  }

  void emptyOut() {
    std::filesystem::remove_all(folder / "out");
    giveFolder("out");
  }

  int filesAsIn(const FileTree& presets) {
    return static_cast<int>(std::count_if(presets.begin(), presets.end(), [this](const auto& file) {
      return readFile(folder / file.first) == file.second;
    }));
  }

  TemporaryFolder tapes;
};

class OtherSoftware : public OtherSoftwareTest, public ::testing::WithParamInterface<Writing> {};

TEST_P(OtherSoftware, IsReadAsItIsOrAfterARemedy) {
  for (const Channels channels : {Channels::Mono, Channels::Stereo}) {
    ASSERT_NO_FATAL_FAILURE(makeTape(channels));
    ASSERT_NO_FATAL_FAILURE(perform(GetParam().command));
    expectVerdict(GetParam());
  }
  for (const std::string& remedy : GetParam().remedies) {
    expectRemedy(remedy);
  }
}

const auto nameOf = [](const auto& info) { return info.param.name; };

INSTANTIATE_TEST_SUITE_P(
    Sox, OtherSoftware,
    Values(allRight("Default", "sox tape.wav recording.wav", plain),
           allRight("Unsigned8", "sox tape.wav -b 8 recording.wav", signed8, {44100, 8}),
           allRight("Signed16", "sox tape.wav -b 16 -e signed-integer recording.wav", plain),
           rejected("Signed24", "sox tape.wav -b 24 recording.wav", extensible, {sox}),
           rejected("Signed32", "sox tape.wav -b 32 recording.wav", extensible, {sox}),
           allRight("PlainSigned24", "sox tape.wav -b 24 -t wavpcm recording.wav", plain,
                    {44100, 24}),
           aborted("PlainSigned32", "sox tape.wav -b 32 -t wavpcm recording.wav", {sox}),
           rejected("Float32", "sox tape.wav -b 32 -e floating-point recording.wav", notPcm, {sox}),
           rejected("Float64", "sox tape.wav -b 64 -e floating-point recording.wav", notPcm, {sox}),
           rejected("ALaw", "sox tape.wav -e a-law recording.wav", notPcm, {sox}),
           rejected("MuLaw", "sox tape.wav -e u-law recording.wav", notPcm, {sox}),
           rejected("ImaAdpcm", "sox tape.wav -e ima-adpcm recording.wav", notPcm, {sox}),
           rejected("MsAdpcm", "sox tape.wav -e ms-adpcm recording.wav", notPcm, {sox}),
           rejected("BigEndian", "sox tape.wav -B recording.wav", bigEndian, {sox}),
           allRight("Comment", "sox tape.wav --comment Tape recording.wav",
                    "no comment is written to WAV files"),
           allRight("Pipe",
                    "cat tape.wav | sox --ignore-length -t wav - -t wav - | cat > recording.wav",
                    "a data size that is too large is cut to the file's")),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    Ffmpeg, OtherSoftware,
    Values(
        rejected("Default", "ffmpeg -i tape.wav recording.wav", list, {ffmpeg}),
        rejected("Default8", "ffmpeg -i tape.wav -c:a pcm_u8 recording.wav", list, {ffmpeg}),
        rejected("NoMetadata", "ffmpeg -i tape.wav -map_metadata -1 recording.wav",
                 "a LIST chunk names the encoder before the samples", {ffmpeg}),
        rejected("BitexactWithTitle",
                 "ffmpeg -i tape.wav -bitexact -metadata title=Tape recording.wav", list, {ffmpeg}),
        rejected("BroadcastExtension",
                 "ffmpeg -i tape.wav -bitexact -write_bext 1 -metadata description=Tape "
                 "recording.wav",
                 bext, {ffmpeg}),
        allRight("Bitexact16", "ffmpeg -i tape.wav -c:a pcm_s16le -bitexact recording.wav", plain),
        allRight("Bitexact8", "ffmpeg -i tape.wav -c:a pcm_u8 -bitexact recording.wav", signed8,
                 {44100, 8}),
        rejected("Bitexact24", "ffmpeg -i tape.wav -c:a pcm_s24le -bitexact recording.wav",
                 extensible, {ffmpeg}),
        rejected("Bitexact32", "ffmpeg -i tape.wav -c:a pcm_s32le -bitexact recording.wav",
                 extensible, {ffmpeg}),
        rejected("Bitexact64", "ffmpeg -i tape.wav -c:a pcm_s64le -bitexact recording.wav",
                 extensible, {ffmpeg}),
        rejected("Float32", "ffmpeg -i tape.wav -c:a pcm_f32le -bitexact recording.wav", extensible,
                 {ffmpeg}),
        rejected("Float64", "ffmpeg -i tape.wav -c:a pcm_f64le -bitexact recording.wav", extensible,
                 {ffmpeg}),
        rejected("ALaw", "ffmpeg -i tape.wav -c:a pcm_alaw -bitexact recording.wav", notPcm,
                 {ffmpeg}),
        rejected("MuLaw", "ffmpeg -i tape.wav -c:a pcm_mulaw -bitexact recording.wav", notPcm,
                 {ffmpeg}),
        rejected("MsAdpcm", "ffmpeg -i tape.wav -c:a adpcm_ms -bitexact recording.wav", notPcm,
                 {ffmpeg}),
        rejected("ImaAdpcm", "ffmpeg -i tape.wav -c:a adpcm_ima_wav -bitexact recording.wav",
                 notPcm, {ffmpeg}),
        rejected("Mp3InWav", "ffmpeg -i tape.wav -c:a libmp3lame -bitexact recording.wav", notPcm,
                 {ffmpeg}),
        rejected("Rf64", "ffmpeg -i tape.wav -bitexact -rf64 always recording.wav", rf64, {ffmpeg}),
        allRight("Rf64IfLarge", "ffmpeg -i tape.wav -bitexact -rf64 auto recording.wav",
                 "a JUNK chunk before the format chunk is skipped"),
        allRight("PeakChunk", "ffmpeg -i tape.wav -bitexact -write_peak on recording.wav",
                 "chunks after the samples are not read"),
        allRight("Pipe", "ffmpeg -i tape.wav -bitexact -f wav - | cat > recording.wav",
                 "a data size that is too large is cut to the file's")),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    Sndfile, OtherSoftware,
    Values(
        allRight("Default", "sndfile-convert tape.wav recording.wav", plain),
        allRight("Unsigned8", "sndfile-convert -pcmu8 tape.wav recording.wav", signed8, {44100, 8}),
        allRight("Signed16", "sndfile-convert -pcm16 tape.wav recording.wav", plain),
        allRight("Signed24", "sndfile-convert -pcm24 tape.wav recording.wav", plain, {44100, 24}),
        aborted("Signed32", "sndfile-convert -pcm32 tape.wav recording.wav", anyProgram),
        rejected("Float32", "sndfile-convert -float32 tape.wav recording.wav", notPcm, anyProgram),
        rejected("Float64", "sndfile-convert -float64 tape.wav recording.wav", notPcm, anyProgram),
        rejected("ALaw", "sndfile-convert -alaw tape.wav recording.wav", notPcm, anyProgram),
        rejected("MuLaw", "sndfile-convert -ulaw tape.wav recording.wav", notPcm, anyProgram),
        rejected("ImaAdpcm", "sndfile-convert -ima-adpcm tape.wav recording.wav", notPcm,
                 anyProgram),
        rejected("MsAdpcm", "sndfile-convert -ms-adpcm tape.wav recording.wav", notPcm, anyProgram),
        rejected("Extensible8",
                 "sndfile-convert -pcmu8 tape.wav x.wavex && mv x.wavex recording.wav", extensible,
                 anyProgram),
        rejected("Extensible16",
                 "sndfile-convert -pcm16 tape.wav x.wavex && mv x.wavex recording.wav", extensible,
                 anyProgram),
        rejected("Extensible24",
                 "sndfile-convert -pcm24 tape.wav x.wavex && mv x.wavex recording.wav", extensible,
                 anyProgram),
        rejected("Rf64", "sndfile-convert -pcm16 tape.wav x.rf64 && mv x.rf64 recording.wav", rf64,
                 {ffmpeg, sndfile}),
        rejected("BigEndian", "sndfile-convert -endian=big -pcm16 tape.wav recording.wav",
                 bigEndian, {sox, sndfile}),
        allRight("TitleSet", "sndfile-metadata-set --str-title Tape tape.wav recording.wav",
                 "the LIST chunk stands after the samples, where nothing is read"),
        rejected("TitleKept",
                 "sndfile-metadata-set --str-title Tape tape.wav titled.wav && "
                 "sndfile-convert -pcm16 titled.wav recording.wav",
                 list, {sox, ffmpeg}),
        rejected("BroadcastExtension",
                 "sndfile-metadata-set --bext-description Tape tape.wav recording.wav", bext,
                 {sox, ffmpeg})),
    nameOf);

const std::string longsIgnored =
    "a long half-period of 42 samples becomes 10 to 31 and is no longer taken for long";
const std::string bothIgnored = "half-periods of 12 and 42 samples become 24 and 84 or more";

INSTANTIATE_TEST_SUITE_P(
    SampleRates, OtherSoftware,
    Values(allZero("Sox11025", "sox tape.wav -r 11025 recording.wav", longsIgnored, {11025, 16},
                   {sox, ffmpeg}),
           allZero("Sox22050", "sox tape.wav -r 22050 recording.wav", longsIgnored, {22050, 16},
                   {sox, ffmpeg}),
           allZero("Sox32000", "sox tape.wav -r 32000 recording.wav", longsIgnored, {32000, 16},
                   {sox, ffmpeg}),
           allRight("Sox48000", "sox tape.wav -r 48000 recording.wav",
                    "half-periods of 13 and 46 samples are within the classes", {48000, 16}),
           allZero("Sox48000SlowTape", "sox tape.wav -r 48000 recording.wav speed 0.9",
                   "a long half-period of 51 samples is beyond its class", {48000, 16},
                   {sox, ffmpeg}),
           allRight("Sox44100SlowTape", "sox tape.wav recording.wav speed 0.9",
                    "a long half-period of 47 samples is within its class"),
           allZero("Sox88200", "sox tape.wav -r 88200 recording.wav", bothIgnored, {88200, 16},
                   {sox, ffmpeg}),
           allZero("Sox96000", "sox tape.wav -r 96000 recording.wav", bothIgnored, {96000, 16},
                   {sox, ffmpeg}),
           allZero("Ffmpeg22050", "ffmpeg -i tape.wav -ar 22050 -bitexact recording.wav",
                   longsIgnored, {22050, 16}, {sox, ffmpeg}),
           allRight("Ffmpeg48000", "ffmpeg -i tape.wav -ar 48000 -bitexact recording.wav",
                    "half-periods of 13 and 46 samples are within the classes", {48000, 16}),
           rejected("Ffmpeg96000", "ffmpeg -i tape.wav -ar 96000 -bitexact recording.wav",
                    extensible, {sox, ffmpeg})),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    ChannelsAndLevels, OtherSoftware,
    Values(
        allRight("LeftOnly", "sox tape.wav recording.wav remix 1 0", "the first channel is read"),
        allZero("RightOnly", "sox tape.wav recording.wav remix 0 1",
                "only the first channel is read, which is silent", usualFormat,
                {soxRight, ffmpegRight}),
        rejected("SoxFourChannels", "sox tape.wav -c 4 recording.wav", extensible, {sox, ffmpeg}),
        rejected("FfmpegThreeChannels", "ffmpeg -i tape.wav -ac 3 -bitexact recording.wav",
                 extensible, {sox, ffmpeg}),
        allRight("NearlyFullScale8", "sox tape.wav -b 8 recording.wav gain -n -1", signed8,
                 {44100, 8}),
        wrong("FullScale8", "sox tape.wav -b 8 recording.wav gain -n",
              "the lowest 8-bit value is read as 0 and cuts half-periods in two", {44100, 8},
              anyProgram),
        wrong("Overdriven8",
              "ffmpeg -i tape.wav -c:a pcm_u8 -af volume=12dB -bitexact recording.wav",
              "the lowest 8-bit value is read as 0 and cuts half-periods in two", {44100, 8},
              anyProgram),
        allRight("Overdriven16", "sox tape.wav -b 16 recording.wav gain 12",
                 "only the signs of samples count"),
        allZero("BeginsAfter200Seconds", "sox tape.wav recording.wav pad 200",
                "only the first 16 MiB of a file are read: 190 seconds", usualFormat,
                {soxFrom190s, ffmpegFrom190s})),
    nameOf);

TEST_F(OtherSoftwareTest, SpeechCodingDestroysTheSignal) {
  ASSERT_NO_FATAL_FAILURE(makeTape(Channels::Mono));
  ASSERT_NO_FATAL_FAILURE(perform("sox tape.wav -e gsm-full-rate recording.wav"));
  expectPresets("recording.wav", zeroPresets);
  expectFormat("recording.wav", noFormat);
  ASSERT_NO_FATAL_FAILURE(perform(sox));
  expectWrongPresets("fixed.wav");
}

/// A recording under a name that does not end in ".wav".
struct OtherName {
  std::string name;
  std::string command;  // makes it of tape.wav
  std::string recording;
  std::string remedy;
};

void PrintTo(const OtherName& other, std::ostream* stream) { *stream << other.recording; }

class OtherNames : public OtherSoftwareTest, public ::testing::WithParamInterface<OtherName> {};

TEST_P(OtherNames, IsNotReadAsARecordingUntilConverted) {
  ASSERT_NO_FATAL_FAILURE(makeTape(Channels::Stereo));
  ASSERT_NO_FATAL_FAILURE(perform(GetParam().command));
  expectRun(GetParam().recording, {},
            {.output = "expected syx, sysex or wav file..", .status = 255});
  expectRemedy(GetParam().remedy);
}

std::string withInput(const std::string& recording, std::string remedy) {
  return remedy.replace(remedy.find("recording.wav"), std::string("recording.wav").size(),
                        recording);
}

INSTANTIATE_TEST_SUITE_P(Recordings, OtherNames,
                         Values(OtherName{"UpperCase", "cp tape.wav recording.WAV", "recording.WAV",
                                          "mv recording.WAV fixed.wav"},
                                OtherName{"Aiff", "sox tape.wav recording.aiff", "recording.aiff",
                                          withInput("recording.aiff", sox)},
                                OtherName{"Flac", "ffmpeg -i tape.wav recording.flac",
                                          "recording.flac", withInput("recording.flac", ffmpeg)},
                                OtherName{"Mp3", "ffmpeg -i tape.wav recording.mp3",
                                          "recording.mp3", withInput("recording.mp3", ffmpeg)},
                                OtherName{"W64", "sndfile-convert tape.wav recording.w64",
                                          "recording.w64", withInput("recording.w64", sndfile)},
                                OtherName{"Rf64", "sndfile-convert tape.wav recording.rf64",
                                          "recording.rf64", withInput("recording.rf64", sndfile)},
                                OtherName{"Wavex", "sndfile-convert tape.wav recording.wavex",
                                          "recording.wavex",
                                          withInput("recording.wavex", sndfile)}),
                         nameOf);

TEST(RecordingSoftwareGuide, NamesTheCommandsThatAreTestedHere) {
  Commands commands;
  for (const std::string& line : linesOf(documentText("docs/recording-software.md"))) {
    if (line.starts_with("sox ") || line.starts_with("ffmpeg ") || line.starts_with("sndfile-")) {
      commands.push_back(line);
    }
  }
  EXPECT_THAT(commands, UnorderedElementsAreArray({sox, soxRight, soxFrom190s, ffmpeg, ffmpegRight,
                                                   ffmpegFrom190s, sndfile}));
}

}  // namespace
