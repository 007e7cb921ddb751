// yolctl: calls any call of a Yol server from the command line; see
// `yolctl --help`.
#include <iostream>
#include <string>
#include <vector>

#include <thrift/Thrift.h>

#include "yolctl.h"

namespace {

// yolctl says itself what went wrong; the runtime's own log lines would
// only repeat it.
void quiet(const char* /* message */) {}

}  // namespace

int main(int argc, char** argv) {
  ::apache::thrift::GlobalOutput.setOutputFunction(quiet);
  const std::vector<std::string> args(argv + 1, argv + argc);
  return yolctl::run(args, std::cout, std::cerr);
}
