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

/// A little form about a track of music, with a field for each kind of formatter. Below the fields stands what became
/// of what was typed last.
class Form : public QWidget {
 public:
  Form();

  /// Called with the form's contents, a line for each field, when the button is pressed.
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
