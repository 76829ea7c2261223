#pragma once

namespace ksl {

// Holds a mutex for as long as it lives. `M` has `acquire` and `release`.
template <class M>
class CGuard {
  public:
    explicit CGuard(M& mutex) : _mutex(&mutex) { _mutex->acquire(); }
    CGuard(const CGuard&) = delete;
    CGuard& operator=(const CGuard&) = delete;
    virtual ~CGuard() { _mutex->release(); }

  private:
    M* _mutex;
};

}  // namespace ksl
