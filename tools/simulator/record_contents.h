#ifndef TKSIM_RECORD_CONTENTS_H
#define TKSIM_RECORD_CONTENTS_H

#include "frame.h"
#include "vocabulary.h"

/// What the generator holds in its records at its start. Each function fills the data of one
/// instance, as far as its form has room; index bytes are put in by others.
namespace tksim {

/// Digits as the text protocol has them: 101 for bits 2 and 0.
int bits(int digits);

/// 0, 1 or 2 for the film screens 1, 10 and 100.
int filmScreenNumber(int digits);

void fillReceptor(Bytes &data, std::size_t instance, Family family);
void fillAecBelow300(Bytes &data, std::size_t instance, Family family);
void fillAecFrom300(Bytes &data, std::size_t instance, Family family);
void fillTable(Bytes &data, std::size_t instance, Family family);
void fillTube(Bytes &data, std::size_t instance, Family family);

void fillFluoroSetup(Bytes &data, std::size_t instance, Family family);
void fillGeneralFluoro(Bytes &data, std::size_t instance, Family family);
void fillFluoroRad(Bytes &data, std::size_t instance, Family family);
void fillContinuousFluoro(Bytes &data, std::size_t instance, Family family);
void fillHighLevelFluoro(Bytes &data, std::size_t instance, Family family);
void fillPulseFluoro(Bytes &data, std::size_t instance, Family family);
void fillHlfPulseFluoro(Bytes &data, std::size_t instance, Family family);

void fillLimits(Bytes &data, std::size_t instance, Family family);
void fillType(Bytes &data, std::size_t instance, Family family);
void fillInputsOutputs(Bytes &data, std::size_t instance, Family family);
void fillDapMeter(Bytes &data, std::size_t instance, Family family);
void fillStatistics(Bytes &data, std::size_t instance, Family family);
void fillZeros(Bytes &data, std::size_t instance, Family family);

} // namespace tksim

#endif
