// The texts of report.html in both languages. Any thread.
#pragma once

#include <string_view>

#include "export/Report.h"
#include "export/ReportPage.h"

namespace moxtel {

struct PageText {
  std::string_view english;
  std::string_view german;
  std::string_view in(PageLanguage language) const {
    return language == PageLanguage::German ? german : english;
  }
};

// The heading of a finding.
std::string_view pageHeadingOf(Finding finding, PageLanguage language);
// What it means, and what to do.
std::string_view adviceOf(Finding finding, PageLanguage language);
// A reason that this program gives; others as they are.
std::string translatedReason(std::string_view reason, PageLanguage language);

}  // namespace moxtel
