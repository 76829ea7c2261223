#pragma once

#include "class_a/standard/CException.h"
#include "class_a/standard/CGeneralPtr.h"

namespace ksl {

// Shares in owning a reported exception.
using CExceptionPtr = CGeneralPtr<CException, CMTOwnerPolicy, CNoMethodLockPolicy, CNoObjectLockPolicy,
                                  CConstructorDeepCopyPolicy, CLockProxy>;

// Takes the exceptions that are reported. The application implements it.
class CExceptionSink {
  public:
    CExceptionSink() = default;
    CExceptionSink(const CExceptionSink&) = default;
    CExceptionSink& operator=(const CExceptionSink&) = default;
    virtual ~CExceptionSink();

    // Passes on what a sink holds back. The library never calls it; a sink that holds nothing back leaves it.
    virtual void flush();

    // Takes an exception, on the thread that reports it. Whoever keeps the pointer keeps the exception. If
    // there was no memory for the copy, the pointer is `empty`, and its operators throw.
    virtual void handle(CExceptionPtr exception) = 0;
};

}  // namespace ksl
