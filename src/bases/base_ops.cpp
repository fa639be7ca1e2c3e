#include "bases/base_ops.h"

#include <iterator>

#include "bases/fido.h"
#include "bases/squish.h"
#include "bases/squish_check.h"
#include "bases/squish_pack.h"
#include "bases/text_area.h"

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
     .look = fido_look,
     .rewritten_whole = false,
     .tells_number = true},
    {.name = "squish",
     .select = squish_select,
     .read = squish_read,
     .add = squish_add,
     .update = squish_update,
     .kill = squish_kill,
     .rewind = squish_rewind,
     .close = squish_close,
     .pack = sqpack,
     .look = squish_look,
     .rewritten_whole = false,
     .tells_number = true},
    {.name = "bink", .rewritten_whole = true},
    {.name = "pkt", .rewritten_whole = true},
    {.name = "text", .select = text_select, .read = text_read, .kill = text_kill},
    {.name = "JAM", .tells_number = true},
};
static_assert(std::size(table) == area_type_count);

}  // namespace

const BaseOps& base_ops(AreaType type) {
  return table[type];
}

}  // namespace quelmo
