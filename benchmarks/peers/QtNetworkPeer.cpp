// SPDX-License-Identifier: MIT
#include <QtCore/QCoreApplication>
#include <QtNetwork/QNetworkInformation>

#include "NetworkPeers.hpp"

namespace Tessaly::Benchmarks {
namespace {

/// The backend on GLib, because the other one needs NetworkManager. Null if neither works.
QNetworkInformation* information() {
  static QNetworkInformation* const shared = [] {
    static int count = 1;
    static char name[] = "tessaly_bench";
    static char* arguments[] = {name, nullptr};
    if (QCoreApplication::instance() == nullptr) new QCoreApplication(count, arguments);
    QNetworkInformation::loadBackendByFeatures(QNetworkInformation::Feature::Reachability);
    return QNetworkInformation::instance();
  }();
  return shared;
}

}  // namespace

bool isOnlineByQt() {
  const QNetworkInformation* const shared = information();
  return shared != nullptr && shared->reachability() == QNetworkInformation::Reachability::Online;
}

bool isMeteredByQt() {
  const QNetworkInformation* const shared = information();
  return shared != nullptr && shared->isMetered();
}

}  // namespace Tessaly::Benchmarks
