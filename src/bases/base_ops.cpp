#include "bases/base_ops.h"

#include <iterator>

#include "bases/bink.h"
#include "bases/fido.h"
#include "bases/jam.h"
#include "bases/jam_check.h"
#include "bases/jam_pack.h"
#include "bases/pkt.h"
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
     .pack = renumber_fido,
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
    {.name = "bink",
     .select = bink_select,
     .read = bink_read,
     .add = bink_add,
     .take_route = bink_take_route,
     .update = bink_update,
     .kill = bink_kill,
     .close = bink_close,
     .rewritten_whole = true},
    {.name = "pkt",
     .select = pkt_select,
     .read = pkt_read,
     .add = pkt_add,
     .add_with = pkt_add_with,
     .take_route = pkt_take_route,
     .update = pkt_update,
     .kill = pkt_kill,
     .close = pkt_close,
     .rewritten_whole = true},
    {.name = "text", .select = text_select, .read = text_read, .add = add_text_msg, .kill = text_kill},
    {.name = "JAM",
     .select = jam_select,
     .read = jam_read,
     .add = jam_add,
     .update = jam_update,
     .kill = jam_kill,
     .rewind = jam_rewind,
     .close = jam_close,
     .pack = jam_pack,
     .look = jam_look,
     .tells_number = true},
};
static_assert(std::size(table) == area_type_count);

}  // namespace

const BaseOps& base_ops(AreaType type) {
  return table[type];
}

}  // namespace quelmo
