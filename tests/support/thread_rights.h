// What the system says when the library starts threads, whatever rights the test has.
#pragma once

#include <memory>

namespace tarn::test {

// While it lives the library's request for real-time priority is answered so. Granting raises
// nothing: tests need no rights and do not disturb the machine.
class RealtimeAnswer {
  public:
    explicit RealtimeAnswer(bool granted);
    ~RealtimeAnswer();
    RealtimeAnswer(const RealtimeAnswer &) = delete;
    RealtimeAnswer &operator=(const RealtimeAnswer &) = delete;

  private:
    struct State;
    std::unique_ptr<State> state_;
};

// While it lives the library can create no thread.
class NoThreads {
  public:
    NoThreads();
    ~NoThreads();
    NoThreads(const NoThreads &) = delete;
    NoThreads &operator=(const NoThreads &) = delete;

  private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace tarn::test
