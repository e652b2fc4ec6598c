// The program.

#include "src/driver.h"
#include "src/process.h"

int main(int argc, char** argv) {
  tavrik::guard_process();
  return tavrik::run(argc, argv);
}
