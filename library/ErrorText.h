#pragma once
#include <string>

namespace tavu {

// The text of the exception being handled, for use inside a catch block: what() of a standard
// exception or of the recorder library's Common::GeneralException, which shares no base with it.
// An exception of any other kind is thrown on, so that each caller keeps its own way out for it.
std::string currentExceptionText();

}  // namespace tavu
