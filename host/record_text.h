// The permanent record in readable form.
#ifndef OVRA_HOST_RECORD_TEXT_H
#define OVRA_HOST_RECORD_TEXT_H

#include <string>
#include <vector>

#include "ovrafocus/permanent_data.h"

namespace host {

/// Bytes of one field up to its terminator, or its whole length; what is not printable is shown as \xNN,
/// and a field that was never written as "(erased)".
std::string printable_text(const char* field, std::size_t length);

/// One line a field, in the record's order.
std::vector<std::string> describe_record(const ovra_permanent_record& record);

}  // namespace host

#endif
