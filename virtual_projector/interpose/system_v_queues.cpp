#include "virtual_projector/interpose/system_v_queues.h"

#include <algorithm>
#include <cerrno>
#include <map>
#include <vector>

#include "virtual_projector/interpose/real_calls.h"
#include "virtual_projector/interpose/timeouts.h"

namespace vp {
namespace {

long with_negated_errno(long result) { return result < 0 ? -errno : result; }

bool may_wait(const sembuf& operation) { return (operation.sem_flg & IPC_NOWAIT) == 0; }

std::vector<sembuf> without_waiting(const sembuf* operations, std::size_t count) {
    std::vector<sembuf> copy(operations, operations + count);
    for (sembuf& operation : copy)
        operation.sem_flg = static_cast<short>(static_cast<unsigned short>(operation.sem_flg) | IPC_NOWAIT);
    return copy;
}

// The operations are done one after the other in thought; the first that cannot be decides whether the call
// waits.
bool first_obstacle_may_wait(int set, const sembuf* operations, std::size_t count) {
    std::map<unsigned, int> values;
    for (std::size_t i = 0; i < count; ++i) {
        const sembuf& operation = operations[i];
        const auto [value, is_new] = values.try_emplace(operation.sem_num, 0);
        if (is_new) value->second = real::semctl(set, operation.sem_num, GETVAL);
        const bool is_obstacle =
            operation.sem_op == 0 ? value->second != 0 : value->second + operation.sem_op < 0;
        if (is_obstacle) return may_wait(operation);
        value->second += operation.sem_op;
    }
    return true;
}

bool waits_at_obstacle(int set, const sembuf* operations, std::size_t count) {
    if (std::all_of(operations, operations + count, may_wait)) return true;
    if (std::none_of(operations, operations + count, may_wait)) return false;
    return first_obstacle_may_wait(set, operations, count);
}

}  // namespace

Wait SystemVQueues::wait_for(Wait::Kind kind, Places& places, int id) {
    return {kind, &places[id], "System V " + std::to_string(id), "System V"};
}

// One that is gone when its waiters look again has been removed in the meantime.
long SystemVQueues::carry_out(const Call& call) {
    long result = call.attempt();
    while (result == -call.would_wait && call.waits()) {
        const WaitEnd end = waits_.wait(call.reason, call.deadline);
        if (end == WaitEnd::interrupted) return -EINTR;  // with SA_RESTART too
        result = call.attempt();
        if (result == -EINVAL) return -EIDRM;
        if (end == WaitEnd::timed_out && result == -call.would_wait) return -EAGAIN;
    }
    return result;
}

// --- Messages ----------------------------------------------------------------------------------------------

long SystemVQueues::send(int queue, const void* message, std::size_t size, int flags) {
    scheduler_.touch();
    const long result = carry_out(
        {[=] { return with_negated_errno(real::msgsnd(queue, message, size, flags | IPC_NOWAIT)); }, EAGAIN,
         [=] { return (flags & IPC_NOWAIT) == 0; }, wait_for(Wait::Kind::message_queue, queues_, queue)});
    if (result >= 0) queue_changed(queue);
    return result;
}

long SystemVQueues::receive(int queue, void* message, std::size_t size, long type, int flags) {
    scheduler_.touch();
    // A copy is taken without waiting, and the kernel refuses one that does not say so.
    const int without_waiting = (flags & MSG_COPY) == 0 ? flags | IPC_NOWAIT : flags;
    const long result = carry_out(
        {[=] { return with_negated_errno(real::msgrcv(queue, message, size, type, without_waiting)); }, ENOMSG,
         [=] { return (flags & IPC_NOWAIT) == 0; }, wait_for(Wait::Kind::message_queue, queues_, queue)});
    if (result >= 0) queue_changed(queue);
    return result;
}

void SystemVQueues::queue_changed(int queue) {
    const auto found = queues_.find(queue);
    if (found != queues_.end()) scheduler_.wake_all(&found->second);
}

// --- Semaphores ----------------------------------------------------------------------------------------------

long SystemVQueues::operate(int set, sembuf* operations, std::size_t count, const timespec* timeout) {
    scheduler_.touch();
    constexpr std::size_t max_count = 32'000;  // more than a kernel takes
    // What is wrong with a call does not depend on whether it waits.
    if (operations == nullptr || count > max_count)
        return with_negated_errno(real::semop(set, operations, count));
    if (timeout != nullptr && !is_valid_length(*timeout)) return -EINVAL;
    std::vector<sembuf> copy = without_waiting(operations, count);
    const long result = carry_out({[&] { return with_negated_errno(real::semop(set, copy.data(), count)); },
                                   EAGAIN, [&] { return waits_at_obstacle(set, operations, count); },
                                   wait_for(Wait::Kind::semaphore, sets_, set),
                                   timeout == nullptr ? no_deadline : waits_.now() + length_of(*timeout)});
    if (result >= 0) set_changed(set);
    return result;
}

void SystemVQueues::set_changed(int set) {
    const auto found = sets_.find(set);
    if (found != sets_.end()) scheduler_.wake_all(&found->second);
}

}  // namespace vp
