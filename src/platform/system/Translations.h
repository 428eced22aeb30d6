// Translations in the format of Qt Linguist (.qm), and the language of the user. Any thread.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace moxtel {

// The language of messages ("de_DE"), which may differ from that of numbers and dates.
std::string userLanguage();

// Looks up English texts in the file FOLDER/moxtelserver_LANGUAGE.qm; for "de_DE" also in moxtelserver_de.qm.
// Nothing when neither exists. The function gives an empty text for what the file lacks.
std::function<std::string(std::string_view)> translationsFrom(const std::string& folder,
                                                              const std::string& language);

}  // namespace moxtel
