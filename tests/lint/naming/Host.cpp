namespace sample {

constexpr int MOST_DRIVES = 5;

enum class State { Good, Bad };

class Drive {
 public:
  int Count(int most) const {
    const int count = count_ > most ? MOST_DRIVES : count_;
    return count;
  }
  State state = State::Good;

 private:
  int count_ = 0;
};

}  // namespace sample
