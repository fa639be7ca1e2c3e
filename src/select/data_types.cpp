#include "select/data_types.h"

#include <iterator>

#include "platform/bytes_case.h"

namespace quelmo {
namespace {

constexpr DataType table[] = {
    {type_address, "ADDRESS", nullptr},
    {type_addressattr, "ADDRESSATTR", nullptr},
    {type_addressname, "ADDRESSNAME", nullptr},
    {type_addresspacker, "ADDRESSPACKER", nullptr},
    {type_alias, "ALIAS", nullptr},
    {type_attribute, "ATTRIBUTE", nullptr},
    {type_binksemaphor, "BINKSEMAPHOR", nullptr},
    {type_condition, "CONDITION", nullptr},
    {type_date, "DATE", nullptr},
    {type_dateaddress, "DATEADDRESS", nullptr},
    {type_dayofweek, "DAYOFWEEK", nullptr},
    {type_event, "EVENT", nullptr},
    {type_fdsemaphor, "FDSEMAPHOR", nullptr},
    {type_fileage, "FILEAGE", nullptr},
    {type_fileareas, "FILEAREAS", nullptr},
    {type_files, "FILES", nullptr},
    {type_lengthaddress, "LENGTHADDRESS", nullptr},
    {type_pktlength, "PKTLENGTH", nullptr},
    {type_macro, "MACRO", nullptr},
    {type_messageage, "MESSAGEAGE", nullptr},
    {type_messagelength, "MESSAGELENGTH", nullptr},
    {type_name, "NAME", nullptr},
    {type_nodelist, "NODELIST", nullptr},
    {type_nodelist4d, "NODELIST4D", nullptr},
    {type_passwordaddress, "PASSWORDADDRESS", nullptr},
    {type_passwordname, "PASSWORDNAME", nullptr},
    {type_path, "PATH", nullptr},
    {type_processage, "PROCESSAGE", nullptr},
    {type_readdresslist, "READDRESSLIST", nullptr},
    {type_readdressname, "READDRESSNAME", nullptr},
    {type_rename, "RENAME", nullptr},
    {type_routing, "ROUTING", nullptr},
    {type_strings, "STRINGS", nullptr},
    {type_subject, "SUBJECT", nullptr},
    {type_subjectaddress, "SUBJECTADDRESS", nullptr},
    {type_system, "SYSTEM", nullptr},
    {type_textstring, "TEXTSTRING", nullptr},
    {type_timeslot, "TIMESLOT", nullptr},
    {type_version9, "VERSION9", nullptr},
    {type_kludge, "KLUDGE", nullptr},
    {type_echoname, "ECHONAME", nullptr},
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
