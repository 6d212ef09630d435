// SPDX-License-Identifier: MIT
#pragma once

#include "Narrator.hpp"

// Each chapter uses one part of the library on real input, and reports to the narrator whether the results are right.

namespace Tour {

void tellOfTheApplication(Narrator& narrator);
void tellOfThePool(Narrator& narrator);
void tellOfCancellation(Narrator& narrator);
void tellOfTasks(Narrator& narrator);
void tellOfSettings(Narrator& narrator);
void tellOfObservation(Narrator& narrator);
void tellOfCollections(Narrator& narrator);
void tellOfListeners(Narrator& narrator);
void tellOfErrors(Narrator& narrator);
void tellOfTheNetwork(Narrator& narrator);
void tellOfFiles(Narrator& narrator);
void tellOfReports(Narrator& narrator);
void tellOfTheDesktop(Narrator& narrator);
void tellOfTexts(Narrator& narrator);
void tellOfFormatting(Narrator& narrator);

}  // namespace Tour
