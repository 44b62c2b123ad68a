#include "virtual_projector/interpose/host_tables.h"

#include <atomic>
#include <utility>

namespace vp {
namespace {

constexpr std::size_t slot_count = 11;

/// As host and library lay it out.
struct Table {
    std::array<void*, slot_count> slots;
};

enum Slot : std::uint8_t {
    refresh_ui = 4,
    toast = 5,
    is_factory_test = 6,
    rotation_changed = 7,
    keystone_updated = 9,
    host_set_keystone = 10,
};

const char* name_of(Slot slot) {
    switch (slot) {
        case refresh_ui:
            return "refresh_ui";
        case toast:
            return "toast";
        case is_factory_test:
            return "is_factory_test";
        case rotation_changed:
            return "rotation_changed";
        case keystone_updated:
            return "keystone_updated";
        case host_set_keystone:
            return "host_set_keystone";
    }
    return "";
}

std::string words_of_toast(std::int32_t code) {
    switch (code) {
        case 2:
            return "the keystone correction failed";
        case 5:
            return "the lens did not reach its place";
        case 6:
            return "the lens is at its right limit";
        case 7:
            return "the lens is at its left limit";
        case 9:
            return "the wall cannot be measured or is out of range: move the projector";
        case 10:
            return "auto-focus and auto-keystone are both switched off";
        case 11:
            return "auto-focus is off, or the lens has not been calibrated";
        default:
            return "a code that is not known";
    }
}

using Arguments = std::vector<std::int32_t>;

std::string words_of(Slot slot, const Arguments& arguments) {
    switch (slot) {
        case refresh_ui:
            return "draw the menu again";
        case toast:
            return words_of_toast(arguments.at(0));
        case is_factory_test:
            return "is the projector in factory testing?";
        case rotation_changed:
            return "the picture is turned: rotation " + std::to_string(arguments.at(0)) + " of 0 to 3";
        case keystone_updated:
            return "new keystone widths and viewport are applied";
        case host_set_keystone:
            return "apply a picture " + std::to_string(arguments.at(0)) + " pixels wide at its top and " +
                   std::to_string(arguments.at(1)) + " at its bottom";
    }
    return "";
}

void* load(void* const& slot) { return __atomic_load_n(&slot, __ATOMIC_RELAXED); }
void store(void*& slot, void* value) { __atomic_store_n(&slot, value, __ATOMIC_RELAXED); }

// --- Telling of calls ------------------------------------------------------------------------------------

constexpr Microseconds not_told = -1;

std::atomic<HostCallObserver*> observer{nullptr};

// Apart from the call itself, so that what it needs of the thread's stack is free again.
[[gnu::noinline]] Microseconds tell_of(Slot slot, Arguments arguments) {
    HostCallObserver* const told = observer.load(std::memory_order_acquire);
    if (told == nullptr) return not_told;
    std::string means = words_of(slot, arguments);
    return told->begins({name_of(slot), slot, std::move(arguments), std::move(means)});
}

[[gnu::noinline]] void tell_of_end(Slot slot, Microseconds began_us, const std::int32_t* result) {
    HostCallObserver* const told = observer.load(std::memory_order_acquire);
    if (told != nullptr && began_us >= 0) told->ends(name_of(slot), slot, began_us, result);
}

// --- Tables ----------------------------------------------------------------------------------------------

constexpr std::size_t table_count = 4;
std::array<const Table*, table_count> host_tables{};  // those behind ours

template <std::size_t table, Slot slot, typename... Parameters>
void pass_on(Parameters... arguments) {
    using Function = void (*)(Parameters...);
    const auto host = reinterpret_cast<Function>(load(host_tables.at(table)->slots.at(slot)));
    if (host == nullptr) return;
    const Microseconds began_us = tell_of(slot, {arguments...});
    host(arguments...);
    tell_of_end(slot, began_us, nullptr);
}

template <std::size_t table>
std::int32_t ask_host() {
    using Function = std::int32_t (*)();
    const auto host = reinterpret_cast<Function>(load(host_tables.at(table)->slots.at(is_factory_test)));
    if (host == nullptr) return 0;
    const Microseconds began_us = tell_of(is_factory_test, {});
    const std::int32_t result = host();
    tell_of_end(is_factory_test, began_us, &result);
    return result;
}

template <std::size_t table>
Table passing_on() {
    Table filled{};
    filled.slots.at(refresh_ui) = reinterpret_cast<void*>(&pass_on<table, refresh_ui>);
    filled.slots.at(toast) = reinterpret_cast<void*>(&pass_on<table, toast, std::int32_t>);
    filled.slots.at(is_factory_test) = reinterpret_cast<void*>(&ask_host<table>);
    filled.slots.at(rotation_changed) =
        reinterpret_cast<void*>(&pass_on<table, rotation_changed, std::int32_t>);
    filled.slots.at(keystone_updated) = reinterpret_cast<void*>(&pass_on<table, keystone_updated>);
    filled.slots.at(host_set_keystone) =
        reinterpret_cast<void*>(&pass_on<table, host_set_keystone, std::int32_t, std::int32_t>);
    return filled;
}

template <std::size_t... numbers>
std::array<Table, sizeof...(numbers)> all_passing_on(std::index_sequence<numbers...> /*each*/) {
    return {passing_on<numbers>()...};
}

// What stands in a slot of ours while the host's has something.
const Table& fillings(std::size_t table) {
    static const std::array<Table, table_count> all = all_passing_on(std::make_index_sequence<table_count>());
    return all.at(table);
}

std::array<Table, table_count> our_tables{};

std::size_t number_of(const void* table) {
    for (std::size_t i = 0; i < table_count; ++i) {
        if (table == &our_tables.at(i)) return i;
    }
    return table_count;
}

// A slot that the host leaves empty is skipped by ours as the library would skip it, so that it may be filled
// at any time. Only of host_set_keystone it matters whether it is there. What the library does not use it gets
// as it is.
void* wanted_in(std::size_t table, std::size_t slot) {
    void* const host = load(host_tables.at(table)->slots.at(slot));
    void* const filling = fillings(table).slots.at(slot);
    if (filling == nullptr) return host;
    return host == nullptr && slot == host_set_keystone ? nullptr : filling;
}

void fill_slots(std::size_t table) {
    for (std::size_t slot = 0; slot < slot_count; ++slot) {
        void* const wanted = wanted_in(table, slot);
        void*& ours = our_tables.at(table).slots.at(slot);
        if (load(ours) != wanted) store(ours, wanted);
    }
}

}  // namespace

void set_host_call_observer(HostCallObserver* told) { observer.store(told, std::memory_order_release); }

const void* stand_in_for(const void* host_table) {
    if (host_table == nullptr || number_of(host_table) < table_count) return host_table;
    for (std::size_t i = 0; i < table_count; ++i) {
        if (host_tables.at(i) != nullptr && host_tables.at(i) != host_table) continue;
        host_tables.at(i) = static_cast<const Table*>(host_table);
        fill_slots(i);
        return &our_tables.at(i);
    }
    return host_table;
}

const void* host_table_behind(const void* table) {
    const std::size_t number = number_of(table);
    return number < table_count ? host_tables.at(number) : table;
}

void HostTables::follow(const WatchedLibrary& library) {
    if (&library != library_) {
        library_ = &library;
        places_ = {static_cast<const void**>(library.find_variable("g_app_callback")),
                   static_cast<const void**>(library.find_variable("autofocus_app_callback")),
                   static_cast<const void**>(library.find_variable("gsensor_app_callback"))};
    }
    for (const void** const place : places_) {
        if (place == nullptr) continue;
        const void* held = __atomic_load_n(place, __ATOMIC_ACQUIRE);
        const std::size_t number = number_of(held);
        if (number < table_count) {
            fill_slots(number);
            continue;
        }
        const void* const ours = stand_in_for(held);
        if (ours != held)
            (void)__atomic_compare_exchange_n(place, &held, ours, false, __ATOMIC_RELEASE, __ATOMIC_RELAXED);
    }
}

}  // namespace vp
