#include "select/data_blocks.h"

namespace quelmo {

DataBlocks blocks;

}  // namespace quelmo
