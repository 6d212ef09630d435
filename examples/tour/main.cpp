// SPDX-License-Identifier: MIT

// The tour uses every facility of the library on real input of this machine, and reports it. It compares its results
// with figures from other sources. It ends with 0 only if all results were correct.

#include <cstdio>
#include <exception>

#include "Chapters.hpp"
#include "Tessaly/FoundationExtensions/Error+Extensions.hpp"

namespace {

struct Chapter {
  const char* title;
  void (*tell)(Tour::Narrator&);
};

constexpr Chapter chapters[] = {
    {"The application and its process", Tour::tellOfTheApplication},
    {"Work on the pool", Tour::tellOfThePool},
    {"Work that is cancelled midway", Tour::tellOfCancellation},
    {"Isolation, priorities, streams", Tour::tellOfTasks},
    {"Settings that are followed, whoever changes them", Tour::tellOfSettings},
    {"A player that is followed", Tour::tellOfObservation},
    {"Histories, queues, chunks", Tour::tellOfCollections},
    {"Streams with many listeners, and work that is owned", Tour::tellOfListeners},
    {"Errors and the log", Tour::tellOfErrors},
    {"A file that a second process rewrites in every way", Tour::tellOfFiles},
    {"Reports, tables and bookmarks", Tour::tellOfReports},
    {"Services of the desktop", Tour::tellOfTheDesktop},
    {"Texts, versions and lists", Tour::tellOfTexts},
    {"Sizes, times and numbers in ten languages", Tour::tellOfFormatting},
    {"The network", Tour::tellOfTheNetwork},
};

}  // namespace

int main() {
  Tour::Narrator narrator;
  for (const Chapter& chapter : chapters) {
    narrator.chapter(chapter.title);
    try {
      chapter.tell(narrator);
    } catch (...) {
      narrator.check(false, Tour::text("no chapter ends with ", Tessaly::logDescription(std::current_exception())));
    }
  }
  return narrator.finish();
}
