#include "virtual_projector/world/tof_optics.h"

namespace vp {
namespace {

// Where the columns of zones look, in parts of the angle between the two columns of four zones.
constexpr std::array<double, 2> column_of_four = {0.5, -0.5};
constexpr std::array<double, 4> column_of_eight = {0.75, 0.25, -0.25, -0.75};

double from_centre(int index, int count) { return index - (count - 1) / 2.0; }

// The bounds of a zone's columns, counted from the left, among those of all zones of its row.
struct Columns {
    int from;
    int until;
};

Columns zone_columns(int point_mode, std::size_t zone) {
    const int zones_of_row = static_cast<int>(zone_count(point_mode)) / 2;
    const int from_left = zones_of_row - 1 - static_cast<int>(zone) / 2;
    return {from_left * pixel_columns / zones_of_row, (from_left + 1) * pixel_columns / zones_of_row};
}

}  // namespace

std::size_t zone_count(int point_mode) { return point_mode == eight_zone_mode ? 8 : 4; }

Ray zone_ray(const TofSettings& tof, int point_mode, std::size_t zone) {
    const double up = zone % 2 == 0 ? tof.zone_row_angle_deg / 2 : -tof.zone_row_angle_deg / 2;
    const double column =
        point_mode == eight_zone_mode ? column_of_eight.at(zone / 2) : column_of_four.at(zone / 2);
    return {column * tof.zone_column_angle_deg, up};
}

Ray pixel_ray(const TofSettings& tof, int row, int column) {
    return {from_centre(column, pixel_columns) * tof.pixel_pitch_right_deg,
            -from_centre(row, pixel_rows) * tof.pixel_pitch_up_deg};
}

std::array<std::size_t, 4> corner_zones(int point_mode) {
    const std::size_t last = zone_count(point_mode) - 1;
    return {0, 1, last - 1, last};
}

std::vector<int> zone_pixels(int point_mode, std::size_t zone) {
    const Columns columns = zone_columns(point_mode, zone);
    const int first_row = zone % 2 == 0 ? 0 : pixel_rows / 2;
    std::vector<int> pixels;
    for (int row = first_row; row < first_row + pixel_rows / 2; ++row) {
        for (int column = columns.from; column < columns.until; ++column) {
            pixels.push_back(row * pixel_columns + column);
        }
    }
    return pixels;
}

}  // namespace vp
