#pragma once

#include "class_a/standard/CException.h"

namespace ksl {

// A text that is no number, or a number that doesn't fit. Its `clone` is a plain CException.
class CNumberConversionException : public CException {
  public:
    using CException::CException;
};

}  // namespace ksl
