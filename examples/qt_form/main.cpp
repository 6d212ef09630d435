// SPDX-License-Identifier: MIT

// A Qt application with a window: a form whose fields are checked by the library's formatters. Saving writes the
// contents to standard output and ends the program. LANG decides how numbers are written.

#include <QApplication>
#include <cstdio>

#include "Form.hpp"

int main(int argumentCount, char** arguments) {
  QApplication application(argumentCount, arguments);
  Form form;
  form.onSave([](const QString& contents) {
    std::fputs(qUtf8Printable(contents), stdout);
    QApplication::quit();
  });
  form.show();
  return QApplication::exec();
}
