#pragma once

#include <string>
#include <string_view>

/// Records of 24 bytes in the other revision's arrangement, worked out from where each setting
/// stands in both.
std::string expectedRev3(std::string_view rev1);
std::string expectedRev1(std::string_view rev3);

/// The text of a transfer file for one 24-byte revision-3 record.
std::string expectedTransferText(std::string_view record);
