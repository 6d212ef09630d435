// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Observation/ObservationTracking.hpp"

#include <string>

namespace Tessaly {

namespace {

struct Song {
  std::string title;
  std::string artist;
};

struct Window {
  void scheduleRedraw() {}
};

void show(const std::string& title, const std::string& artist) {}

}  // namespace

void showObservationTracking(Song& song, Window& window) {
  withObservationTracking([&] { show(song.title, song.artist); }, [&] { window.scheduleRedraw(); });
}

}  // namespace Tessaly
