// SPDX-License-Identifier: MIT
// Component: Tessaly::QtWidgetsAdapter
#pragma once

#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>
#include <QString>
#include <QUrl>
#include <memory>
#include <string>

#include "Tessaly/Adapters/detail/ToolkitPasteboard.hpp"

namespace Tessaly::inline v1 {

namespace detail {

class QtPasteboard final : public ToolkitPasteboard {
 public:
  QtPasteboard()
      : ToolkitPasteboard(server()),
        connection_(QObject::connect(QGuiApplication::clipboard(), &QClipboard::dataChanged,
                                     [this] { setIsOwner(QGuiApplication::clipboard()->ownsClipboard()); })) {}

 private:
  static PasteboardServer server() {
    const QString name = QGuiApplication::platformName();
    if (name.startsWith("wayland")) return PasteboardServer::wayland;
    return name == "xcb" ? PasteboardServer::x11 : PasteboardServer::none;
  }

  bool offer(const OfferedTexts& texts) override {
    auto* data = new QMimeData;  // The clipboard owns the data.
    data->setText(QString::fromStdString(texts.plain()));
    if (texts.url) data->setUrls({QUrl::fromEncoded(QByteArray::fromStdString(*texts.url))});
    QGuiApplication::clipboard()->setMimeData(data);
    // After a refusal, the clipboard has other data, but `ownsClipboard` is still true.
    return QGuiApplication::clipboard()->mimeData() == data;
  }
  void disconnect() override { QObject::disconnect(connection_); }

  QMetaObject::Connection connection_;
};

}  // namespace detail

namespace Qt6 {

/// An adapter that, while it exists, lets `PasteboardService` write through the toolkit. A compositor, such as GNOME's,
/// may allow only programs with a window to use the clipboard. With such a compositor and without the adapter, the
/// library uses the clipboard of the X display, or none if there is no X display.
///
/// Construct the adapter after the application object. Writes on the main thread reach the toolkit at once. Writes on
/// other threads reach the toolkit on the main thread, in the next turn of `MainLoopAdapter`'s loop. Other programs can
/// paste as long as the loop runs. `PasteboardBackend::current().status()` says whether the pasteboard's contents still
/// belong to this process. It also reports contents that the toolkit refused.
///
/// Stops the process: constructing an adapter outside the main thread.
///
/// Thread contract: main-isolated.
///
///     const QApplication application(argumentCount, arguments);
///     const Qt6::MainLoopAdapter adapter;
///     const Qt6::PasteboardAdapter pasteboard;
class PasteboardAdapter {
 public:
  PasteboardAdapter() : backend_(std::make_shared<detail::QtPasteboard>()), installation_(backend_) {}
  PasteboardAdapter(const PasteboardAdapter&) = delete;
  PasteboardAdapter& operator=(const PasteboardAdapter&) = delete;
  ~PasteboardAdapter() { backend_->close(); }

 private:
  const std::shared_ptr<detail::QtPasteboard> backend_;
  const PasteboardBackendInstallation installation_;
};

}  // namespace Qt6

}  // namespace Tessaly::inline v1
