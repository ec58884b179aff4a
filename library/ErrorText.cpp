#include "library/ErrorText.h"

#include <exception>

#include "library/GeneralException.h"

namespace tavu {

std::string currentExceptionText() {
    try {
        throw;
    } catch (const std::exception& e) {
        return e.what();
    } catch (const Common::GeneralException& e) {
        return e.what();
    }
}

}  // namespace tavu
