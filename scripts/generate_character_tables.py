#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Makes the table of character classes from the Unicode Character Database.

generate_character_tables.py directory-of-the-database > Tessaly/Core/Text/CharacterClasses.cpp
"""

import pathlib
import sys

CLASSES = ["other", "carriageReturn", "lineFeed", "control", "extend", "extendWithClass", "virama", "zeroWidthJoiner",
           "regionalIndicator", "prepend", "spacingMark", "hangulL", "hangulV", "hangulT", "hangulLV", "hangulLVT",
           "pictograph", "linkingConsonant"]
BREAKS = {"CR": "carriageReturn", "LF": "lineFeed", "Control": "control", "Extend": "extend", "ZWJ": "zeroWidthJoiner",
          "Regional_Indicator": "regionalIndicator", "Prepend": "prepend", "SpacingMark": "spacingMark", "L": "hangulL",
          "V": "hangulV", "T": "hangulT", "LV": "hangulLV", "LVT": "hangulLVT"}
CONJUNCT_SCRIPTS = {"Gujarati", "Telugu", "Malayalam", "Oriya", "Bengali", "Devanagari"}
EMOJI = 0x20
BLOCK = 128
SCALARS = 0x110000


def properties(path):
    """Pairs of scalar and value."""
    for line in path.read_text(encoding="utf-8").splitlines():
        fields = [field.strip() for field in line.split("#")[0].split(";")]
        if len(fields) < 2:
            continue
        first, _, last = fields[0].partition("..")
        for scalar in range(int(first, 16), int(last or first, 16) + 1):
            yield scalar, fields[1]


def classes(folder):
    table = [0] * SCALARS
    number = {name: index for index, name in enumerate(CLASSES)}
    for scalar, value in properties(folder / "auxiliary" / "GraphemeBreakProperty.txt"):
        table[scalar] = number[BREAKS[value]]
    for scalar, value in properties(folder / "extracted" / "DerivedCombiningClass.txt"):
        if value != "0" and table[scalar] == number["extend"]:
            table[scalar] = number["extendWithClass"]
    conjunct = {scalar for scalar, value in properties(folder / "Scripts.txt") if value in CONJUNCT_SCRIPTS}
    for scalar, value in properties(folder / "IndicSyllabicCategory.txt"):
        if scalar not in conjunct:
            continue
        if value == "Virama":
            assert table[scalar] == number["extendWithClass"]
            table[scalar] = number["virama"]
        elif value == "Consonant":
            assert table[scalar] == number["other"]
            table[scalar] = number["linkingConsonant"]
    emoji = list(properties(folder / "emoji" / "emoji-data.txt"))
    for scalar, value in emoji:
        if value == "Extended_Pictographic":
            assert table[scalar] == number["other"]
            table[scalar] = number["pictograph"]
    for scalar, value in emoji:
        if value == "Emoji":
            table[scalar] |= EMOJI
    return table


def rows(values):
    line = "   "
    for value in values:
        text = f" {value},"
        if len(line) + len(text) > 120:
            yield line
            line = "   "
        line += text
    yield line


def main():
    table = classes(pathlib.Path(sys.argv[1]))
    blocks = []
    index = []
    numbers = {}
    for begin in range(0, SCALARS, BLOCK):
        block = tuple(table[begin:begin + BLOCK])
        if block not in numbers:
            numbers[block] = len(blocks)
            blocks.append(block)
        index.append(numbers[block])
    assert len(blocks) <= 256
    print(f"""// SPDX-License-Identifier: MIT
// Made by scripts/generate_character_tables.py out of the Unicode Character Database 15.0.
// clang-format off
#include "Tessaly/Core/Text/detail/CharacterClasses.hpp"

namespace Tessaly::inline v1::Text::detail {{

constinit const std::uint8_t characterBlockOf[{len(index)}] = {{""")
    print("\n".join(rows(index)))
    print(f"""}};

constinit const std::uint8_t characterBlocks[][{BLOCK}] = {{""")
    for block in blocks:
        print("  {")
        print("\n".join(rows(block)))
        print("  },")
    print("""};

}  // namespace Tessaly::inline v1::Text::detail""")


main()
