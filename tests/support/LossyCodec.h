#pragma once

#include <vector>

/// What a lossy codec leaves of one channel: the spectrum of each block of 1,024 samples is cut off
/// above `bandwidth` hertz, and in each band rounded to steps that add noise `noiseDb` below the
/// band's level; lines below it vanish. The noise spreads over the block, before a sound too.
void passThroughCodec(std::vector<float>& samples, double sampleRate, double bandwidth,
                      double noiseDb);
