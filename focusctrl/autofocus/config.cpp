#include "focusctrl/autofocus/config.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

#include "base/log.h"
#include "base/shared_flag.h"

ovra_focus_config focus_config{};

namespace ovra {
namespace {

constexpr std::int32_t default_focus_mode = 1;
constexpr std::int32_t default_cali_mode = 2;
constexpr std::int32_t default_factory_mode = 3;

// What a mode outside the known ones is replaced by.
constexpr std::int32_t fallback_mode = 1;

// Words 9 and 10 of the focus data keep what the caller's record holds.
constexpr std::size_t focus_data_words_set = 9;

constexpr bool is_known_mode(std::int32_t mode) { return mode >= 1 && mode <= 3; }

constexpr std::size_t record_words = sizeof(ovra_focus_config) / sizeof(std::uint32_t);

static_assert(sizeof(ovra_user_setting) == sizeof(std::uint32_t) * 4, "4 words");
static_assert(sizeof(ovra_system_state) == sizeof(std::uint32_t) * 6, "6 words");
static_assert(sizeof(ovra_focus_state) == sizeof(std::uint32_t) * 10, "10 words");
static_assert(sizeof(ovra_focus_data) == sizeof(std::uint32_t) * 11, "11 words");
static_assert(record_words == 31, "the host knows the record as 31 words");
static_assert(offsetof(ovra_focus_config, system_state) == sizeof(std::uint32_t) * 4,
              "follows the user setting");
static_assert(offsetof(ovra_focus_config, focus_state) == sizeof(std::uint32_t) * 10,
              "follows the system state");
static_assert(offsetof(ovra_focus_config, focus_data) == sizeof(std::uint32_t) * 20, "follows the focus state");
static_assert(offsetof(ovra_focus_state, distance_enabled) == sizeof(std::uint32_t) * 6, "word 6");
static_assert(offsetof(ovra_focus_state, tof_polling) == sizeof(std::uint32_t) * 7, "word 7");
static_assert(offsetof(ovra_focus_state, busy) == sizeof(std::uint32_t) * 8, "word 8");

// The record is nothing but words, and words are what other threads see whole.
std::uint32_t* words_of(ovra_focus_config& record) { return reinterpret_cast<std::uint32_t*>(&record); }

}  // namespace

void build_focus_config() {
    // Readers meanwhile see the system as off, not half of what it was before.
    ovra_focus_config fresh{};
    copy_words(words_of(focus_config), words_of(fresh), record_words);
    system_state_init(&fresh.system_state);
    focus_state_init(&fresh.focus_state);
    focus_data_init(&fresh.focus_data);
    user_setting_init(&fresh.user_setting);
    copy_words(words_of(focus_config), words_of(fresh), record_words);
    set_system_on(1);
}

void set_system_on(std::uint32_t on) { store_release(focus_config.system_state.is_system_on, on); }

}  // namespace ovra

ovra_system_state* system_state_init(ovra_system_state* rec) {
    ovra::log_focus("%s.\n", "system_state_init");
    *rec = ovra_system_state{};
    return rec;
}

ovra_focus_state* focus_state_init(ovra_focus_state* rec) {
    ovra::log_focus("%s.\n", "focus_state_init");
    *rec = ovra_focus_state{};
    return rec;
}

ovra_focus_data* focus_data_init(ovra_focus_data* rec) {
    ovra::log_focus("%s.\n", "focus_data_init");
    std::fill_n(std::begin(rec->words), ovra::focus_data_words_set, 0U);
    return rec;
}

ovra_user_setting* user_setting_init(ovra_user_setting* rec) {
    ovra::log_focus("%s.\n", "user_setting_init");
    rec->focus_mode = static_cast<uint32_t>(get_focus_mode(ovra::default_focus_mode));
    rec->cali_mode = static_cast<uint32_t>(get_cali_mode(ovra::default_cali_mode));
    rec->factory_mode = static_cast<uint32_t>(get_factory_mode(ovra::default_factory_mode));
    rec->unused = 0;
    return rec;
}

ovra_focus_config* get_focus_configs(ovra_focus_config* out) {
    // Asked first: who sees the system on sees a record that was filled before.
    const uint32_t on = ovra::load_acquire(focus_config.system_state.is_system_on);
    ovra::copy_words(ovra::words_of(*out), ovra::words_of(focus_config), ovra::record_words);
    out->system_state.is_system_on = on;
    return out;
}

int32_t get_focus_mode(int32_t mode) {
    ovra::log_focus("%s.\n", "get_focus_mode");
    if (ovra::is_known_mode(mode)) return mode;
    ovra::log_focus("FOCUS_MODE = %d unspport, do nothing", mode);
    return ovra::fallback_mode;
}

int32_t get_cali_mode(int32_t mode) {
    ovra::log_focus("%s.\n", "get_cali_mode");
    if (ovra::is_known_mode(mode)) return mode;
    ovra::log_focus("CALIBRATION_MODE = %d unspport, do nothing", mode);
    return ovra::fallback_mode;
}

int32_t get_factory_mode(int32_t mode) {
    ovra::log_focus("%s.\n", "get_factory_mode");
    if (ovra::is_known_mode(mode)) return mode;
    ovra::log_focus("FACTORY_MODE = %d unspport, do nothing", mode);
    return ovra::fallback_mode;
}
