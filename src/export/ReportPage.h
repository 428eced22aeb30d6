// The report of an export as a page, report.html, in English or German. One thread.
//
// For people who do not know the program: it says what the folder contains, what is missing, why, and what to
// do about it. No scripts, and nothing from elsewhere. Texts of libraries are escaped.
#pragma once

#include <cstdint>
#include <functional>
#include <string_view>

#include "export/Report.h"

namespace moxtel {

enum class PageLanguage : std::uint8_t { English, German };

// By the value of LC_ALL, LC_MESSAGES or LANG: "de_CH.UTF-8" is German.
PageLanguage languageOf(std::string_view locale);

// Calls write with one part after the other.
void writeReportPage(Report& report, PageLanguage language,
                     const std::function<void(std::string_view)>& write);

}  // namespace moxtel
