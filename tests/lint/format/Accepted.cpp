int Sample(int value) {
  return value;
}
