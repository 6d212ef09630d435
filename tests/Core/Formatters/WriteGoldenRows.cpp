// SPDX-License-Identifier: MIT

// WriteGoldenRows table
//
// Writes the rows of a table ("icu" or "texts") whose texts the installed ICU writes in another way than ICU 72. No
// code of the library takes part.

#include <iostream>

#include "tests/Core/Formatters/ICUTexts.hpp"
#include "tests/Support/GoldenRows.hpp"

int main(int count, char** arguments) {
  using namespace Tessaly::Tests;
  if (count != 2) {
    std::cerr << "Usage: WriteGoldenRows icu|texts\n";
    return 2;
  }
  const WritersByICU writers = writersByICU();
  const std::string table = arguments[1];
  std::cout << "# The rows that ICU " << versionOfICU()
            << " writes in another way than ICU 72. Made by WriteGoldenRows.\n";
  for (const GoldenRow& row : readGoldenRows(table, baseVersionOfICU)) {
    const std::string text = writers.at(table + "/" + row.formatter)(icu::Locale(row.locale.c_str()), row.input);
    if (text == row.output) continue;
    std::cout << row.formatter << '\t' << row.locale << '\t' << row.input << '\t' << withMarks(text) << '\n';
  }
}
