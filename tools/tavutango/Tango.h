#pragma once
// The framework's one header. The build names its folders as system headers, as they use library
// features that C++20 deprecates.
#include <tango.h>
