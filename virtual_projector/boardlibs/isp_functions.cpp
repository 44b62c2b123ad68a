// The functions of the ToF processing library.
#include <cmath>
#include <cstring>

#include "platform/nds_isp.h"
#include "virtual_projector/boardlibs/libraries.h"

using vp::boardlibs::AngleResult;
using vp::boardlibs::bytes_at;
using vp::boardlibs::CalibrationSetup;
using vp::boardlibs::CloudPoint;
using vp::boardlibs::given;
using vp::boardlibs::Libraries;
using vp::boardlibs::no_values;
using vp::boardlibs::numbers_at;
using vp::boardlibs::perform;
using vp::boardlibs::Values;

namespace {

constexpr int library_version = 10203;
constexpr long refused = -1;
constexpr int only_chip = 0;
constexpr std::size_t limit_count = 6;

long status(bool done) { return done ? 0 : refused; }

constexpr double micrometres_per_mm = 1000;

// Three numbers for each point: x, y and z in millimetres.
std::vector<double> coordinates_of(const void* cloud, std::size_t points) {
    std::vector<double> coordinates;
    if (cloud == nullptr) return coordinates;
    for (std::size_t i = 0; i < points; ++i) {
        CloudPoint point;
        std::memcpy(&point, static_cast<const CloudPoint*>(cloud) + i, sizeof point);
        for (const float coordinate : {point.x, point.y, point.z})
            coordinates.push_back(std::round(static_cast<double>(coordinate) * micrometres_per_mm) /
                                  micrometres_per_mm);
    }
    return coordinates;
}

Values values_of_angle(const void* angle_result) {
    AngleResult result;
    std::memcpy(&result, angle_result, sizeof result);
    return {{"yaw", std::int64_t{result.yaw}},
            {"pitch", std::int64_t{result.pitch}},
            {"distance_mm", std::int64_t{result.distance_mm}}};
}

}  // namespace

extern "C" int isp_platform_init(void* const* operation_table) {
    return perform("isp_platform_init", {}, no_values, no_values, [&](Libraries& all) {
        return status(operation_table != nullptr && all.isp.register_platform(operation_table));
    });
}

extern "C" int isp_set_start_bin(int id, int start_bin) {
    return perform(
        "isp_set_start_bin", {},
        [&](const Libraries&) {
            return Values{{"id", std::int64_t{id}}, {"start_bin", std::int64_t{start_bin}}};
        },
        no_values, [&](Libraries& all) { return status(id == only_chip && all.isp.set_start_bin(start_bin)); });
}

extern "C" int ispFreqConfig(int id, uint32_t frequency) {
    return perform(
        "ispFreqConfig", {},
        [&](const Libraries&) {
            return Values{{"id", std::int64_t{id}}, {"frequency", std::int64_t{frequency}}};
        },
        no_values, [&](Libraries&) { return status(id == only_chip && frequency != 0); });
}

extern "C" int ispFixHighTemperature(int id, uint32_t firmware) {
    return perform(
        "ispFixHighTemperature", {},
        [&](const Libraries&) {
            return Values{{"id", std::int64_t{id}}, {"firmware", std::int64_t{firmware}}};
        },
        no_values,
        [&](Libraries& all) { return status(id == only_chip && all.isp.fix_high_temperature(firmware)); });
}

extern "C" int nx_isp_lib_init(void* context, void* calibration) {
    return perform("nx_isp_lib_init", {}, no_values, no_values, [&](Libraries& all) {
        if (context == nullptr || calibration == nullptr) return refused;
        return status(all.isp.load_calibration(static_cast<const uint8_t*>(calibration)));
    });
}

extern "C" int nx_isp_lib_uninit(void* /*context*/) {
    return perform("nx_isp_lib_uninit", {}, no_values, no_values, [](Libraries& all) {
        all.isp.unload();
        return 0L;
    });
}

extern "C" int nx_isp_op_init(void* context, void* operations) {
    return perform("nx_isp_op_init", {}, no_values, no_values,
                   [&](Libraries&) { return status(context != nullptr && operations != nullptr); });
}

extern "C" int nx_get_isp_version(void) {
    return perform("nx_get_isp_version", {}, no_values, no_values,
                   [](Libraries&) { return static_cast<long>(library_version); });
}

extern "C" int nx_set_angle_limit(void* /*context*/, const int16_t* limits) {
    return perform(
        "nx_set_angle_limit", {},
        [&](const Libraries&) {
            return Values{{"limits", numbers_at(limits, limit_count)}};
        },
        no_values,
        [&](Libraries& all) {
            if (limits == nullptr) return refused;
            return status(
                all.isp.set_limits({limits[0], limits[1], limits[2], limits[3], limits[4], limits[5]}));
        });
}

extern "C" int nx_set_filter_para(void* /*context*/, intptr_t parameter, intptr_t /*second*/,
                                  intptr_t /*third*/) {
    return perform("nx_set_filter_para", {}, given("parameter", parameter), no_values,
                   [&](Libraries&) { return status(parameter >= 0); });
}

extern "C" int nx_get_recommended_points_mode(void* /*context*/, uint8_t* spad_selection, int mode) {
    return perform(
        "nx_get_recommended_points_mode", {spad_selection, vp::boardlibs::max_points}, given("mode", mode),
        [&](const Libraries&) {
            return Values{{"spad_selection", numbers_at(spad_selection, vp::boardlibs::max_points)}};
        },
        [&](Libraries& all) {
            return status(spad_selection != nullptr && all.isp.select_mode(mode, spad_selection));
        });
}

extern "C" int nx_cal_pc(void* /*context*/, const uint16_t* distances, void* point_cloud) {
    constexpr std::size_t fewest_points = 4;
    return perform(
        "nx_cal_pc", {point_cloud, fewest_points * sizeof(CloudPoint)},
        [&](const Libraries& all) {
            return Values{{"distances", numbers_at(distances, all.isp.points())}};
        },
        [&](const Libraries& all) {
            return Values{{"point_cloud", coordinates_of(point_cloud, all.isp.points())}};
        },
        [&](Libraries& all) {
            if (distances == nullptr || point_cloud == nullptr) return refused;
            return status(all.isp.make_cloud(distances, static_cast<CloudPoint*>(point_cloud)));
        });
}

extern "C" int nx_angle_cal(void* /*context*/, const void* point_cloud, void* angle_result) {
    return perform(
        "nx_angle_cal", {angle_result, sizeof(AngleResult)},
        [&](const Libraries& all) {
            return Values{{"point_cloud", coordinates_of(point_cloud, all.isp.points())}};
        },
        [&](const Libraries&) { return values_of_angle(angle_result); },
        [&](Libraries& all) {
            if (point_cloud == nullptr || angle_result == nullptr) return refused;
            const AngleResult result = all.isp.angle_of(static_cast<const CloudPoint*>(point_cloud));
            std::memcpy(angle_result, &result, sizeof result);
            return status(result.yaw != vp::boardlibs::no_angle);
        });
}

extern "C" int nx_user_calibration_init(void* context, void* buffer, void* configuration, int depth,
                                        intptr_t /*argument*/) {
    return perform("nx_user_calibration_init", {}, given("depth", depth), no_values, [&](Libraries& all) {
        if (context == nullptr || buffer == nullptr || configuration == nullptr) return refused;
        CalibrationSetup setup{};
        std::memcpy(&setup, configuration, sizeof setup);
        return status(all.isp.begin_calibration(static_cast<const uint8_t*>(buffer), setup, depth));
    });
}

extern "C" int nx_calibration_3d(void* context) {
    return perform("nx_calibration_3d", {}, no_values, no_values,
                   [&](Libraries& all) { return status(all.isp.measure_pixels(context)); });
}

extern "C" int nx_calibration_generate_data(void* /*context*/, void* output) {
    return perform(
        "nx_calibration_generate_data", {output, vp::generated_size}, no_values,
        [&](const Libraries&) {
            return Values{{"output", bytes_at(output, vp::generated_size)}};
        },
        [&](Libraries& all) {
            return status(output != nullptr && all.isp.finish_calibration(static_cast<uint8_t*>(output)));
        });
}
