#include "support/Banks.h"

#include <random>

PresetBank randomBank(std::uint32_t seed) {
  std::mt19937 random(seed);
  PresetBank bank;
  for (char& byte : bank) {
    byte = static_cast<char>(random() >> 24);
  }
  return bank;
}

std::string bytesOf(const PresetBank& bank) { return {bank.data(), bank.size()}; }

std::string sysexFile(std::string_view bank) {
  std::string file;
  for (std::size_t preset = 0; preset < 40; ++preset) {
    file += "\xF0\x7D\x07";
    file += static_cast<char>(preset);
    for (const char byte : bank.substr(24 * preset, 24)) {
      file += static_cast<char>(byte & 0x0F);
      file += static_cast<char>(byte >> 4 & 0x0F);
    }
    file += '\xF7';
  }
  return file;
}

std::string bankOf(std::string_view sysex) {
  std::string bank;
  for (std::size_t i = 0; i < 960; ++i) {
    const std::size_t position = i / 24 * 53 + 4 + i % 24 * 2;
    bank += static_cast<char>(sysex.at(position) | sysex.at(position + 1) << 4);
  }
  return bank;
}

std::string transferText(std::string_view record) {
  const auto bit7 = [record](std::size_t byte) {
    return std::to_string(static_cast<unsigned char>(record[byte]) >> 7);
  };
  const auto bits0to6 = [record](std::size_t byte) { return std::to_string(record[byte] & 0x7F); };
  return "OSC_A_PULSE=" + bit7(0) + "\nFILT_ATK=" + bits0to6(0) + "/127\n" +           //
         "OSC_A_SAW=" + bit7(1) + "\nFILT_DEC=" + bits0to6(1) + "/127\n" +             //
         "OSC_A_SYNC=" + bit7(2) + "\nFILT_SUS=" + bits0to6(2) + "/127\n" +            //
         "OSC_B_SAW=" + bit7(3) + "\nFILT_REL=" + bits0to6(3) + "/127\n" +             //
         "OSC_B_TRI=" + bit7(4) + "\nAMP_ATK=" + bits0to6(4) + "/127\n" +              //
         "OSC_B_PULSE=" + bit7(5) + "\nAMP_DEC=" + bits0to6(5) + "/127\n" +            //
         "OSC_B_KBD=" + bit7(6) + "\nAMP_SUS=" + bits0to6(6) + "/127\n" +              //
         "UNISON=" + bit7(7) + "\nAMP_REL=" + bits0to6(7) + "/127\n" +                 //
         "POLY-MOD_FREQ_A=" + bit7(8) + "\nFILTER_CUTOFF=" + bits0to6(8) + "/127\n" +  //
         "POLY-MOD_PW_A=" + bit7(9) + "\nFILT_ENV_AMT=" + bits0to6(9) + "/127\n" +     //
         "POLY-MOD_FILT=" + bit7(10) + "\nMIX_OSC_B=" + bits0to6(10) + "/127\n" +      //
         "LFO_SAW=" + bit7(11) + "\nOSC_B_PW=" + bits0to6(11) + "/127\n" +             //
         "LFO_TRI=" + bit7(12) + "\nMIX_OSC_A=" + bits0to6(12) + "/127\n" +            //
         "LFO_SQUARE=" + bit7(13) + "\nOSC_A_PW=" + bits0to6(13) + "/127\n" +          //
         "FILT_KBD=" + bit7(14) + "\nMIX_NOISE=" + bits0to6(14) + "/127\n" +           //
         "RELEASE=" + bit7(15) + "\nFILT_RESONANCE=" + bits0to6(15) + "/127\n" +       //
         "W-MOD_FREQ_A=" + bit7(16) + "\nGLIDE=" + bits0to6(16) + "/127\n" +           //
         "W-MOD_FREQ_B=" + bit7(17) + "\nLFO_FREQ=" + bits0to6(17) + "/127\n" +        //
         "W-MOD_PW_A=" + bit7(18) + "\nW-MOD_SOURCE_MIX=" + bits0to6(18) + "/127\n" +  //
         "W-MOD_PW_B=" + bit7(19) + "\nP-MOD_OSC_B=" + bits0to6(19) + "/127\n" +       //
         "W-MOD_FILT=" + bit7(20) + "\nP-MOD_FILT_ENV=" + bits0to6(20) + "/127\n" +    //
         "OSC_B_LOW_FREQ=" + bit7(21) + "\nOSC_A_FREQ=" + bits0to6(21) + "\n" +        //
         "OSC_B_FREQ=" + bits0to6(22) + "\n" +                                         //
         "OSC_B_FINE=" + bits0to6(23) + "\n";
}

std::string transferName(int record) {
  return "preset" + std::to_string(record / 8 + 1) + "-" + std::to_string(record % 8 + 1) + ".txt";
}
