// SPDX-License-Identifier: MIT
#include "Words.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

#include "Tessaly/Core/Text/Locale.hpp"

namespace keeper {
namespace {

struct Translations {
  const char* english;
  const char* german;
  const char* arabic;
};

/// In the order of `Word`.
constexpr std::array translations{
    Translations{"Search", "Suchen", "بحث"},
    Translations{"Clear the search", "Suche leeren", "مسح البحث"},
    Translations{"Name", "Name", "الاسم"},
    Translations{"Size", "Größe", "الحجم"},
    Translations{"Kind", "Art", "النوع"},
    Translations{"Modified", "Geändert", "تاريخ التعديل"},
    Translations{"Files", "Dateien", "الملفات"},
    Translations{"Open", "Öffnen", "فتح"},
    Translations{"Copy Path", "Pfad kopieren", "نسخ المسار"},
    Translations{"Save as CSV", "Als CSV sichern", "حفظ بصيغة CSV"},
    Translations{"Save as Zip", "Als Zip sichern", "حفظ بصيغة Zip"},
    Translations{"Save Log", "Protokoll sichern", "حفظ السجل"},
    Translations{"Save the log of Keeper", "Das Protokoll von Keeper sichern", "حفظ سجل Keeper"},
    Translations{"Find Duplicates", "Duplikate suchen", "البحث عن المكررات"},
    Translations{"Only Duplicates", "Nur Duplikate", "المكررات فقط"},
    Translations{"Hidden Files", "Versteckte Dateien", "الملفات المخفية"},
    Translations{"Columns", "Spalten", "الأعمدة"},
    Translations{"Pause", "Anhalten", "إيقاف مؤقت"},
    Translations{"Resume", "Fortsetzen", "استئناف"},
    Translations{"Stop", "Beenden", "إيقاف"},
    Translations{"Progress of the search", "Fortschritt der Suche", "تقدم البحث"},
    Translations{"Index", "Register", "الفهرس"},
    Translations{"Reading…", "Wird gelesen …", "جارٍ القراءة…"},
    Translations{"Saving…", "Wird gesichert …", "جارٍ الحفظ…"},
    Translations{"Saved", "Gesichert", "تم الحفظ"},
    Translations{"Sets of duplicates", "Gruppen von Duplikaten", "مجموعات المكررات"},
    Translations{"Unreadable", "Nicht lesbar", "تعذرت قراءتها"},
    Translations{"Offline", "Offline", "غير متصل"},
};
static_assert(translations.size() == static_cast<std::size_t>(Word::offline) + 1);

std::string language() {
  const auto code = Tessaly::Locale::current().language().languageCode();
  return code ? code->identifier() : "";
}

}  // namespace

const char* text(Word word) {
  const Translations& translation = translations.at(static_cast<std::size_t>(word));
  const std::string code = language();
  return code == "de" ? translation.german : code == "ar" ? translation.arabic : translation.english;
}

bool isRightToLeft() { return language() == "ar"; }

}  // namespace keeper
