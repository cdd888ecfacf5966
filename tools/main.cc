// vistara-spatial: runs the library's services from the command line.
#include <iostream>

#include "cli.h"
#include "spatial/spatial_api.h"

int main(int argc, char** argv) {
  vistara::InitializeSpatialAPI();
  return vistara::cli::Main(std::vector<std::string>(argv + 1, argv + argc), std::cin, std::cout, std::cerr);
}
