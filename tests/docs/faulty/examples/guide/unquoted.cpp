// A program that no page quotes as it is.
int main() {
  // region: open
  // end
  // region: slot
  // end
}
