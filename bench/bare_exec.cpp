// The least that a launcher can do: a process that executes the program it is given.
#include <unistd.h>

int main(int, char** arguments) {
  ::execv(arguments[1], arguments + 1);
  return 1;
}
