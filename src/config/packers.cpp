#include "config/packers.h"

#include "platform/bytes_case.h"

namespace quelmo {

std::vector<Packer> packers;

std::string command_line(const PackerCommand& command) {
  return command.program + " " + command.arguments;
}

const Packer* find_packer(std::string_view name) {
  for (const Packer& packer : packers) {
    if (equal_nocase(packer.name, name)) return &packer;
  }
  return nullptr;
}

}  // namespace quelmo
