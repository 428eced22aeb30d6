// Marks texts for people in rooms that know no user: they are translated where they are shown.
//
// docs/developing.md, "Languages", says how texts get into translations/*.ts.
#pragma once

// Qt Linguist's lupdate reads it as Q_DECLARE_TR_FUNCTIONS: the context of the texts of a class.
#define MOXTEL_TEXT_CONTEXT(name)

namespace moxtel {

// lupdate takes the literals that are passed to later().
class LaterText final {
  MOXTEL_TEXT_CONTEXT(UserText)

 public:
  // The English text itself.
  static constexpr const char* later(const char* english) { return english; }
};

}  // namespace moxtel
