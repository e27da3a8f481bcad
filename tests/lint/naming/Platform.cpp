namespace Sample {

constexpr int MOST_DRIVES = 5;

enum class EState { Good, Bad };

class CDrive {
 public:
  int Count(int most) const {
    const int count = m_Count > most ? MOST_DRIVES : m_Count;
    return count;
  }
  EState m_State = EState::Good;

 private:
  int m_Count = 0;
};

}  // namespace Sample
