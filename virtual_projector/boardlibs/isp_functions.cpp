// The functions of the ToF processing library.
#include <cstring>

#include "platform/nds_isp.h"
#include "virtual_projector/boardlibs/libraries.h"

using vp::boardlibs::AngleResult;
using vp::boardlibs::CalibrationSetup;
using vp::boardlibs::CloudPoint;
using vp::boardlibs::Libraries;
using vp::boardlibs::perform;

namespace {

constexpr int library_version = 10203;
constexpr long refused = -1;
constexpr int only_chip = 0;

long status(bool done) { return done ? 0 : refused; }

}  // namespace

extern "C" int isp_platform_init(void* const* operation_table) {
    return perform("isp_platform_init", {}, [&](Libraries& all) {
        return status(operation_table != nullptr && all.isp.register_platform(operation_table));
    });
}

extern "C" int isp_set_start_bin(int id, int start_bin) {
    return perform("isp_set_start_bin", {},
                   [&](Libraries& all) { return status(id == only_chip && all.isp.set_start_bin(start_bin)); });
}

extern "C" int ispFreqConfig(int id, uint32_t frequency) {
    return perform("ispFreqConfig", {}, [&](Libraries&) { return status(id == only_chip && frequency != 0); });
}

extern "C" int ispFixHighTemperature(int id, uint32_t firmware) {
    return perform("ispFixHighTemperature", {}, [&](Libraries& all) {
        return status(id == only_chip && all.isp.fix_high_temperature(firmware));
    });
}

extern "C" int nx_isp_lib_init(void* context, void* calibration) {
    return perform("nx_isp_lib_init", {}, [&](Libraries& all) {
        if (context == nullptr || calibration == nullptr) return refused;
        return status(all.isp.load_calibration(static_cast<const uint8_t*>(calibration)));
    });
}

extern "C" int nx_isp_lib_uninit(void* /*context*/) {
    return perform("nx_isp_lib_uninit", {}, [](Libraries& all) {
        all.isp.unload();
        return 0L;
    });
}

extern "C" int nx_isp_op_init(void* context, void* operations) {
    return perform("nx_isp_op_init", {},
                   [&](Libraries&) { return status(context != nullptr && operations != nullptr); });
}

extern "C" int nx_get_isp_version(void) {
    return perform("nx_get_isp_version", {}, [](Libraries&) { return static_cast<long>(library_version); });
}

extern "C" int nx_set_angle_limit(void* /*context*/, const int16_t* limits) {
    return perform("nx_set_angle_limit", {}, [&](Libraries& all) {
        if (limits == nullptr) return refused;
        return status(all.isp.set_limits({limits[0], limits[1], limits[2], limits[3], limits[4], limits[5]}));
    });
}

extern "C" int nx_set_filter_para(void* /*context*/, intptr_t parameter, intptr_t /*second*/,
                                  intptr_t /*third*/) {
    return perform("nx_set_filter_para", {}, [&](Libraries&) { return status(parameter >= 0); });
}

extern "C" int nx_get_recommended_points_mode(void* /*context*/, uint8_t* spad_selection, int mode) {
    return perform("nx_get_recommended_points_mode", {spad_selection, vp::boardlibs::max_points},
                   [&](Libraries& all) {
                       return status(spad_selection != nullptr && all.isp.select_mode(mode, spad_selection));
                   });
}

extern "C" int nx_cal_pc(void* /*context*/, const uint16_t* distances, void* point_cloud) {
    constexpr std::size_t fewest_points = 4;
    return perform("nx_cal_pc", {point_cloud, fewest_points * sizeof(CloudPoint)}, [&](Libraries& all) {
        if (distances == nullptr || point_cloud == nullptr) return refused;
        return status(all.isp.make_cloud(distances, static_cast<CloudPoint*>(point_cloud)));
    });
}

extern "C" int nx_angle_cal(void* /*context*/, const void* point_cloud, void* angle_result) {
    return perform("nx_angle_cal", {angle_result, sizeof(AngleResult)}, [&](Libraries& all) {
        if (point_cloud == nullptr || angle_result == nullptr) return refused;
        const AngleResult result = all.isp.angle_of(static_cast<const CloudPoint*>(point_cloud));
        std::memcpy(angle_result, &result, sizeof result);
        return status(result.yaw != vp::boardlibs::no_angle);
    });
}

extern "C" int nx_user_calibration_init(void* context, void* buffer, void* configuration, int depth,
                                        intptr_t /*argument*/) {
    return perform("nx_user_calibration_init", {}, [&](Libraries& all) {
        if (context == nullptr || buffer == nullptr || configuration == nullptr) return refused;
        CalibrationSetup setup{};
        std::memcpy(&setup, configuration, sizeof setup);
        return status(all.isp.begin_calibration(static_cast<const uint8_t*>(buffer), setup, depth));
    });
}

extern "C" int nx_calibration_3d(void* context) {
    return perform("nx_calibration_3d", {},
                   [&](Libraries& all) { return status(all.isp.measure_pixels(context)); });
}

extern "C" int nx_calibration_generate_data(void* /*context*/, void* output) {
    return perform("nx_calibration_generate_data", {output, vp::generated_size}, [&](Libraries& all) {
        return status(output != nullptr && all.isp.finish_calibration(static_cast<uint8_t*>(output)));
    });
}
