#include "virtual_projector/trace/trace_sink.h"

namespace vp {

void TraceSink::record_truth(std::int64_t /*t_us*/, const nlohmann::ordered_json& /*state*/) {}
void TraceSink::record_event(std::int64_t /*t_us*/, std::string_view /*what*/) {}

}  // namespace vp
