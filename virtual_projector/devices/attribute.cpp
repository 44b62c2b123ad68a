#include "virtual_projector/devices/attribute.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <utility>

namespace vp {
namespace {

struct Node {
    Board& board;
    Presence present;
    Show show;
    Store store;
    Describe describe;
};

class AttributeFile : public OpenFile {
public:
    AttributeFile(std::shared_ptr<const Node> node, int flags) : node_(std::move(node)), flags_(flags) {}

    Answer read(void* buffer, std::size_t count) override {
        if (!wants_read(flags_)) return Answer::error(EBADF);
        if (!text_) {
            std::string text;
            const Answer answer =
                node_->board.with_world([&](World& world) { return node_->show(world, text); });
            if (answer.wait || answer.result < 0) return answer;
            text_ = std::move(text);
        }
        const std::size_t moved = std::min(count, text_->size() - place_);
        std::memcpy(buffer, text_->data() + place_, moved);
        place_ += moved;
        return Answer::done(static_cast<long>(moved));
    }

    Answer write(const void* buffer, std::size_t count) override {
        if (!wants_write(flags_)) return Answer::error(EBADF);
        if (count == 0) return Answer::done(0);
        const std::string text(static_cast<const char*>(buffer), count);
        const long status = node_->board.with_world([&](World& world) { return node_->store(world, text); });
        return Answer::done(status < 0 ? status : static_cast<long>(count));
    }

    WrittenCommand written_command(std::string_view bytes, long result) const override {
        return node_->describe ? node_->describe(bytes, result) : WrittenCommand{};
    }

private:
    std::shared_ptr<const Node> node_;
    int flags_;
    std::optional<std::string> text_;
    std::size_t place_ = 0;
};

class AttributeDevice : public Device {
public:
    explicit AttributeDevice(std::shared_ptr<const Node> node) : node_(std::move(node)) {}

    std::unique_ptr<OpenFile> open(int flags, int& error_number) override {
        const bool present =
            node_->board.with_world([&](World& world) { return node_->present(world.settings()); });
        const bool refused = (wants_read(flags) && !node_->show) || (wants_write(flags) && !node_->store);
        error_number = !present ? ENOENT : refused ? EACCES : 0;
        if (error_number != 0) return nullptr;
        return std::make_unique<AttributeFile>(node_, flags);
    }

private:
    std::shared_ptr<const Node> node_;
};

}  // namespace

bool wants_read(int flags) { return (flags & O_ACCMODE) != O_WRONLY; }
bool wants_write(int flags) { return (flags & O_ACCMODE) != O_RDONLY; }

std::shared_ptr<Device> make_attribute(Board& board, Presence present, Show show, Store store,
                                       Describe describe) {
    auto node = std::make_shared<Node>(
        Node{board, std::move(present), std::move(show), std::move(store), std::move(describe)});
    return std::make_shared<AttributeDevice>(std::move(node));
}

Show show_text(std::function<std::string(World&)> text) {
    return [text = std::move(text)](World& world, std::string& out) {
        out = text(world);
        return Answer::done(0);
    };
}

Show show_number(std::function<long(World&)> number) {
    return show_text(
        [number = std::move(number)](World& world) { return std::to_string(number(world)) + "\n"; });
}

std::optional<long> parse_number(std::string_view text) {
    if (!text.empty() && text.back() == '\n') text.remove_suffix(1);
    if (!text.empty() && text.front() == '+') text.remove_prefix(1);
    int value = 0;
    const char* const end = text.data() + text.size();
    const std::from_chars_result parsed = std::from_chars(text.data(), end, value);
    if (parsed.ec != std::errc{} || parsed.ptr != end) return std::nullopt;
    return value;
}

Store store_number(long min, long max, std::function<long(World&, long)> take) {
    return [min, max, take = std::move(take)](World& world, std::string_view text) -> long {
        const std::optional<long> value = parse_number(text);
        if (!value || *value < min || *value > max) return -EINVAL;
        return take(world, *value);
    };
}

void AttributeFolder::add(const std::string& name, Show show, Store store, Describe describe) {
    nodes_.add(path_ + name,
               make_attribute(board_, present_, std::move(show), std::move(store), std::move(describe)));
}

void AttributeFolder::add_setting(const std::string& name, long min, long max,
                                  const std::shared_ptr<long>& value) {
    add(name, show_number([value](World&) { return *value; }),
        store_number(min, max, [value](World&, long taken) {
            *value = taken;
            return 0L;
        }));
}

}  // namespace vp
