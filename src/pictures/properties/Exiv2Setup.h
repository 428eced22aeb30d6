// Prepares Exiv2 for the whole process. Any thread; the first call does the work.
#pragma once

namespace moxtel::properties {

void setUpExiv2();

}  // namespace moxtel::properties
