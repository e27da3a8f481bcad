#pragma once

namespace TLX::Delegates_and_Calls {

// Base of every class whose member functions are called through a delegate. Empty.
class CDelegateTarget {};

template <class Signature>
class CDelegate;

// A member function bound to an object: target, function, adjustment, three words. All zero means
// "not bound". Copyable; owns nothing: the target must outlive the calls.
template <class Result, class... Args>
class CDelegate<Result(Args...)> {
 public:
  CDelegate() = default;

  template <class Target>
  CDelegate(Target* target, Result (Target::*function)(Args...))
      : m_Target(target), m_Function(static_cast<Function>(function)) {}

  explicit operator bool() const { return m_Target != nullptr && m_Function != nullptr; }

  // Only on a bound delegate.
  Result operator()(Args... args) const { return (m_Target->*m_Function)(args...); }

 private:
  using Function = Result (CDelegateTarget::*)(Args...);
  CDelegateTarget* m_Target = nullptr;
  Function m_Function = nullptr;
};

}  // namespace TLX::Delegates_and_Calls
