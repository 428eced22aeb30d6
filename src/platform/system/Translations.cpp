#include "platform/system/Translations.h"

#include <QLocale>
#include <QTranslator>
#include <array>
#include <memory>

namespace moxtel {

namespace {
// The classes through which the sources pass their texts. lupdate makes contexts of their names.
constexpr std::array kContexts{"WindowText", "UserText"};
}  // namespace

std::string userLanguage() {
  return QLocale::system().uiLanguages().value(0).replace('-', '_').toStdString();
}

std::function<std::string(std::string_view)> translationsFrom(const std::string& folder,
                                                              const std::string& language) {
  // Without a language, Qt would look for "moxtelserver_.qm", and then for names without a language.
  if (language.empty()) return {};
  auto file = std::make_shared<QTranslator>();
  if (!file->load(QString::fromStdString("moxtelserver_" + language), QString::fromStdString(folder)))
    return {};
  return [file = std::move(file)](std::string_view english) {
    const std::string text(english);
    QString found;
    for (auto context = kContexts.begin(); found.isEmpty() && context != kContexts.end(); ++context) {
      found = file->translate(*context, text.c_str());
    }
    return found.toStdString();
  };
}

}  // namespace moxtel
