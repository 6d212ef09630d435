// SPDX-License-Identifier: MIT
#include "QtPeers.hpp"

#include <benchmark/benchmark.h>

#include <QColor>
#include <QString>
#include <QVersionNumber>

namespace Tessaly::Benchmarks {
namespace {

std::vector<QString> qtTexts(const std::vector<std::string>& texts) {
  std::vector<QString> result;
  for (const std::string& text : texts) result.push_back(QString::fromStdString(text));
  return result;
}

}  // namespace

Batch QtPeers::parseColors(const std::vector<std::string>& texts) {
  return [texts = qtTexts(texts)] {
    for (const QString& text : texts) {
      QColor color(text);
      benchmark::DoNotOptimize(color);
    }
  };
}

Batch QtPeers::parseVersions(const std::vector<std::string>& texts) {
  return [texts = qtTexts(texts)] {
    for (const QString& text : texts) {
      QVersionNumber version = QVersionNumber::fromString(text);
      benchmark::DoNotOptimize(version);
    }
  };
}

}  // namespace Tessaly::Benchmarks
