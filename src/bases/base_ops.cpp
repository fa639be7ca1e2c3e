#include "bases/base_ops.h"

#include <iterator>

#include "bases/fido.h"
#include "bases/text_area.h"
#include "outbound/scratch.h"

namespace quelmo {
namespace {

constexpr BaseOps table[] = {
    {.name = "fido",
     .select = fido_select,
     .read = fido_read,
     .add = fido_add,
     .update = fido_update,
     .kill = fido_kill,
     .rewind = fido_rewind,
     .close = fido_close,
     .pack = renumber_fido,
     .look = fido_look,
     .rewritten_whole = false,
     .tells_number = true},
    {.name = "squish", .tells_number = true},
    {.name = "bink", .add = bink_add, .rewritten_whole = true},
    {.name = "pkt", .rewritten_whole = true},
    {.name = "text", .select = text_select, .read = text_read, .add = add_text_msg, .kill = text_kill},
    {.name = "JAM", .tells_number = true},
};
static_assert(std::size(table) == area_type_count);

}  // namespace

const BaseOps& base_ops(AreaType type) {
  return table[type];
}

}  // namespace quelmo
