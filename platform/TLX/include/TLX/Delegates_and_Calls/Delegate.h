#pragma once

namespace TLX::Delegates_and_Calls {

// Base of every class whose member functions are called through a delegate. Empty, so that it costs
// a class nothing; a class may have it as one base of several, but not as a virtual one.
class CDelegateTarget {};

template <class Signature>
class CDelegate;

// A member function bound to an object: target, function, adjustment, three words. All zero means
// "not bound". The size and the order of the words are part of the layout that host and plug-ins
// share, which a std::function of two builds would not promise.
//
// Copyable; owns nothing: the target must outlive the calls. A call runs on the thread that makes
// it, and throws what the function throws; whether it may run on several threads at once is the
// target's to say. [one thread at a time]
template <class Result, class... Args>
class CDelegate<Result(Args...)> {
 public:
  // Not bound: to be assigned another later.
  CDelegate() = default;

  // A function that the target's own class declares; one that is virtual is looked up at the call.
  // A null target leaves the delegate unbound.
  template <class Target>
  CDelegate(Target* target, Result (Target::*function)(Args...))
      : m_Target(target), m_Function(static_cast<Function>(function)) {}

  // Whether it may be called: bound to an object and to a function.
  explicit operator bool() const { return m_Target != nullptr && m_Function != nullptr; }

  // Calls the function with these arguments and returns what it returns. Only on a bound delegate;
  // nothing is checked.
  Result operator()(Args... args) const { return (m_Target->*m_Function)(args...); }

 private:
  using Function = Result (CDelegateTarget::*)(Args...);
  CDelegateTarget* m_Target = nullptr;
  Function m_Function = nullptr;
};

}  // namespace TLX::Delegates_and_Calls
