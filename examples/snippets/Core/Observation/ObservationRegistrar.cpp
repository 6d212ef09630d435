// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Observation/ObservationRegistrar.hpp"

namespace Tessaly {

namespace {

struct Sensor {
  double read() const { return 21; }
};

class Thermometer {
 public:
  double celsius() const {
    registrar_.access(*this, keyPath<&Thermometer::celsius>);
    return sensor_.read();
  }
  void sensorHasNews() {
    registrar_.withMutation(*this, keyPath<&Thermometer::celsius>, [] {});
  }

 private:
  Sensor sensor_;
  ObservationRegistrar registrar_;
};

}  // namespace

void showObservationRegistrar() {
  Thermometer thermometer;
  thermometer.sensorHasNews();
}

}  // namespace Tessaly
