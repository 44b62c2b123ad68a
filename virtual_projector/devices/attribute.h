// A sysfs attribute: a file that shows a text and takes one.
//
// As the kernel does it: the text is made when it is first read through a descriptor and then read on from
// there; each write call is one whole value. A node without a show function cannot be opened for reading,
// one without a store function not for writing, whoever asks.
#ifndef VIRTUAL_PROJECTOR_DEVICES_ATTRIBUTE_H
#define VIRTUAL_PROJECTOR_DEVICES_ATTRIBUTE_H

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "virtual_projector/devices/board.h"
#include "virtual_projector/devices/device.h"

namespace vp {

/// Whether the hardware is there.
using Presence = std::function<bool(const Settings&)>;

/// Makes the text; an error or a wait in its place.
using Show = std::function<Answer(World&, std::string& text)>;

/// Takes a value: 0, or a negated errno.
using Store = std::function<long(World&, std::string_view text)>;

/// What was written with this result, where it is no text.
using Describe = std::function<WrittenCommand(std::string_view written, long result)>;

/// A node. Both functions are called with the world at the present and locked; either may be empty.
std::shared_ptr<Device> make_attribute(Board& board, Presence present, Show show, Store store,
                                       Describe describe = {});

/// Shows a text that is always ready.
Show show_text(std::function<std::string(World&)> text);

/// Shows a number and a newline.
Show show_number(std::function<long(World&)> number);

/// Takes a decimal number within a range, a newline after it or not; EINVAL for anything else.
Store store_number(long min, long max, std::function<long(World&, long)> take);

/// Parses what store_number takes; nothing when it is no number.
std::optional<long> parse_number(std::string_view text);

/// The attributes of one driver, in a folder of their own.
class AttributeFolder {
public:
    /// `path` ends with a slash.
    AttributeFolder(Board& board, DeviceTable& nodes, std::string path, Presence present)
        : board_(board), nodes_(nodes), path_(std::move(path)), present_(std::move(present)) {}

    void add(const std::string& name, Show show, Store store = {}, Describe describe = {});

    /// A number within a range that is kept in `value`, shown and otherwise without effect.
    void add_setting(const std::string& name, long min, long max, const std::shared_ptr<long>& value);

private:
    Board& board_;
    DeviceTable& nodes_;
    std::string path_;
    Presence present_;
};

/// True when open(2)'s flags ask for this.
bool wants_read(int flags);
bool wants_write(int flags);

}  // namespace vp

#endif
