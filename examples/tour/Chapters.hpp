// SPDX-License-Identifier: MIT
#pragma once

#include "Narrator.hpp"

namespace Tour {

void tellOfTheApplication(Narrator& narrator);
void tellOfThePool(Narrator& narrator);
void tellOfCancellation(Narrator& narrator);
void tellOfTasks(Narrator& narrator);
void tellOfErrors(Narrator& narrator);
void tellOfTexts(Narrator& narrator);

}  // namespace Tour
