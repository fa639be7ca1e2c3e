#include "select/data_types.h"

#include <iterator>

#include "platform/bytes_case.h"
#include "select/block_handlers.h"

namespace quelmo {
namespace {

constexpr DataType table[] = {
    {type_address, "ADDRESS", handle_address},
    {type_addressattr, "ADDRESSATTR", nullptr},
    {type_addressname, "ADDRESSNAME", handle_addressname},
    {type_addresspacker, "ADDRESSPACKER", handle_addresspacker},
    {type_alias, "ALIAS", nullptr},
    {type_attribute, "ATTRIBUTE", handle_attribute},
    {type_binksemaphor, "BINKSEMAPHOR", nullptr},
    {type_condition, "CONDITION", nullptr},
    {type_date, "DATE", handle_date},
    {type_dateaddress, "DATEADDRESS", nullptr},
    {type_dayofweek, "DAYOFWEEK", handle_dayofweek},
    {type_event, "EVENT", nullptr},
    {type_fdsemaphor, "FDSEMAPHOR", nullptr},
    {type_fileage, "FILEAGE", handle_fileage},
    {type_fileareas, "FILEAREAS", nullptr},
    {type_files, "FILES", handle_files},
    {type_lengthaddress, "LENGTHADDRESS", handle_lengthaddress},
    {type_pktlength, "PKTLENGTH", handle_pktlength},
    {type_macro, "MACRO", handle_macro},
    {type_messageage, "MESSAGEAGE", handle_messageage},
    {type_messagelength, "MESSAGELENGTH", handle_messagelength},
    {type_name, "NAME", handle_name},
    {type_nodelist, "NODELIST", handle_nodelist},
    {type_nodelist4d, "NODELIST4D", nullptr},
    {type_passwordaddress, "PASSWORDADDRESS", handle_passwordaddress},
    {type_passwordname, "PASSWORDNAME", handle_passwordname},
    {type_path, "PATH", handle_path},
    {type_processage, "PROCESSAGE", handle_processage},
    {type_readdresslist, "READDRESSLIST", handle_readdresslist},
    {type_readdressname, "READDRESSNAME", nullptr},
    {type_rename, "RENAME", nullptr},
    {type_routing, "ROUTING", handle_routing},
    {type_strings, "STRINGS", nullptr},
    {type_subject, "SUBJECT", handle_subject},
    {type_subjectaddress, "SUBJECTADDRESS", nullptr},
    {type_system, "SYSTEM", handle_system},
    {type_textstring, "TEXTSTRING", handle_textstring},
    {type_timeslot, "TIMESLOT", nullptr},
    {type_version9, "VERSION9", handle_version9},
    {type_kludge, "KLUDGE", handle_kludge},
    {type_echoname, "ECHONAME", handle_echoname},
};

constexpr bool ids_in_order() {
  for (int i = 0; i < data_type_count; i++) {
    if (table[i].id != i) return false;
  }
  return true;
}
static_assert(std::size(table) == data_type_count && ids_in_order());

}  // namespace

std::span<const DataType> data_types() {
  return table;
}

int data_type_id(std::string_view name) {
  for (const DataType& type : table) {
    if (equal_nocase(name, type.name)) return type.id;
  }
  return -1;
}

}  // namespace quelmo
