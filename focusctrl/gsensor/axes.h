// A value on each of the three axes, and the exported records that hold such values.
#ifndef OVRA_FOCUSCTRL_GSENSOR_AXES_H
#define OVRA_FOCUSCTRL_GSENSOR_AXES_H

#include "base/shared_flag.h"

namespace ovra {

struct Axes {
    float x;
    float y;
    float z;
};

/// The axes of an exported record. Each is read whole; the three need not be of one block.
template <typename Record>
Axes axes_of(const Record& record) {
    return {load(record.x), load(record.y), load(record.z)};
}

template <typename Record>
void set_axes(Record& record, const Axes& axes) {
    store(record.x, axes.x);
    store(record.y, axes.y);
    store(record.z, axes.z);
}

}  // namespace ovra

#endif
