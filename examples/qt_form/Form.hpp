// SPDX-License-Identifier: MIT
#pragma once

#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QWidget>
#include <functional>
#include <memory>
#include <vector>

#include "Tessaly/Adapters/QtWidgets/FormatterValidator.hpp"

/// A small form about a track of music, with a field for each kind of formatter. A line below the fields shows the
/// outcome of the last input.
class Form : public QWidget {
 public:
  Form();

  /// Called with the contents of the form, a line for each field, when the user presses the button.
  void onSave(std::function<void(const QString& contents)> handler) { save_ = std::move(handler); }

 private:
  template <typename Kind>
  void add(const char* name, const char* hint, std::shared_ptr<Kind> formatter, std::any object);
  void say(const QString& text);

  struct Row {
    QString name;
    QLineEdit* field;
  };
  std::vector<Row> rows_;
  QLabel* status_;
  std::function<void(const QString&)> save_;
};
