#include "core/run_state.h"

namespace quelmo {

Run run;
Config config;

}  // namespace quelmo
