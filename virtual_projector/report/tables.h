// A run as tables of comma-separated values (RFC 4180), as spreadsheets and statistics programs read them.
//
//     NAME.csv      one for each signal: t_s,NAME [UNIT]; a value holds until the next; empty: not known
//     requests.csv  number,kind,what,by,asked_s,begun_s,ended_s,failed,outcome and the truth before and after
//     flags.csv     t_s,kind,text
//     log.csv       t_s,thread,text
#ifndef VIRTUAL_PROJECTOR_REPORT_TABLES_H
#define VIRTUAL_PROJECTOR_REPORT_TABLES_H

#include <functional>
#include <set>
#include <string>
#include <string_view>

#include "virtual_projector/report/run_data.h"

namespace vp {

/// The names of the tables' files.
std::set<std::string> table_files(const RunData& run);

/// Hands each table to `write`: its file's name, and its text.
void write_tables(const RunData& run,
                  const std::function<void(const std::string& file, const std::string& text)>& write);

/// A field as it stands in a table: in quotes where it needs them.
std::string csv_field(std::string_view text);

}  // namespace vp

#endif
