// A call of a thread for traces.
#ifndef TESTS_VIRTUAL_PROJECTOR_TRACE_SAMPLE_CALL_H
#define TESTS_VIRTUAL_PROJECTOR_TRACE_SAMPLE_CALL_H

#include <cstdint>
#include <string_view>

#include "virtual_projector/trace/trace_sink.h"

namespace vp {

inline CallRecord call(std::string_view name, std::string_view path, std::int64_t argument, long result,
                       std::string_view data = {}) {
    CallRecord record;
    record.t_us = 20;
    record.thread = 2;
    record.thread_name = "worker";
    record.call = name;
    record.path = path;
    record.argument = argument;
    record.result = result;
    record.data = data;
    return record;
}

}  // namespace vp

#endif
