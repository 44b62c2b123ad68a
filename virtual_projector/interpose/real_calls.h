// The keeper of the C library's own functions, which the virtual projector's stand before.
//
// Each is looked up when it is first called, which may be before any constructor of this program has run:
// nothing here needs one.
#ifndef VIRTUAL_PROJECTOR_INTERPOSE_REAL_CALLS_H
#define VIRTUAL_PROJECTOR_INTERPOSE_REAL_CALLS_H

#include <aio.h>
#include <mqueue.h>
#include <poll.h>
#include <pthread.h>
#include <semaphore.h>
#include <signal.h>
#include <spawn.h>
#include <sys/epoll.h>
#include <sys/msg.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <sys/sem.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/timeb.h>
#include <sys/times.h>
#include <sys/types.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <threads.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cwchar>

namespace vp::real {

/// The next function of that name, by dlsym. The process ends when there is none.
void* next_function(const char* name);

template <typename Function>
class Call {
public:
    constexpr explicit Call(const char* name) : name_(name) {}

    template <typename... Arguments>
    auto operator()(Arguments... arguments) {
        return function()(arguments...);
    }

private:
    Function* function() {
        Function* known = function_.load(std::memory_order_acquire);
        if (known != nullptr) return known;
        known = reinterpret_cast<Function*>(next_function(name_));
        function_.store(known, std::memory_order_release);
        return known;
    }

    const char* name_;
    std::atomic<Function*> function_{nullptr};
};

inline Call<int(const char*, int, ...)> open{"open"};
inline Call<int(const char*, int, ...)> open64{"open64"};
inline Call<int(int, const char*, int, ...)> openat{"openat"};
inline Call<int(int, const char*, int, ...)> openat64{"openat64"};
inline Call<FILE*(const char*, const char*)> fopen{"fopen"};
inline Call<FILE*(const char*, const char*)> fopen64{"fopen64"};
inline Call<ssize_t(int, void*, size_t)> read{"read"};
inline Call<ssize_t(int, const void*, size_t)> write{"write"};
inline Call<int(int)> close{"close"};
inline Call<int(int, unsigned long, ...)> ioctl{"ioctl"};

inline Call<int(useconds_t)> usleep{"usleep"};
inline Call<unsigned(unsigned)> sleep{"sleep"};
inline Call<int(const timespec*, timespec*)> nanosleep{"nanosleep"};
inline Call<int(clockid_t, int, const timespec*, timespec*)> clock_nanosleep{"clock_nanosleep"};
inline Call<int(timeb*)> ftime{"ftime"};
inline Call<int(timeval*, void*)> gettimeofday{"gettimeofday"};
inline Call<int(clockid_t, timespec*)> clock_gettime{"clock_gettime"};
inline Call<time_t(time_t*)> time{"time"};

inline Call<int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*)> pthread_create{"pthread_create"};
inline Call<int(pthread_t, void**)> pthread_join{"pthread_join"};
inline Call<int(pthread_t)> pthread_detach{"pthread_detach"};
inline Call<int(pthread_t, void**)> pthread_tryjoin_np{"pthread_tryjoin_np"};
inline Call<int(pthread_t, void**, const timespec*)> pthread_timedjoin_np{"pthread_timedjoin_np"};
inline Call<int(pthread_t, void**, clockid_t, const timespec*)> pthread_clockjoin_np{"pthread_clockjoin_np"};
inline Call<void(void*)> pthread_exit{"pthread_exit"};
inline Call<int()> sched_yield{"sched_yield"};

inline Call<int(pthread_mutex_t*)> pthread_mutex_lock{"pthread_mutex_lock"};
inline Call<int(pthread_mutex_t*)> pthread_mutex_trylock{"pthread_mutex_trylock"};
inline Call<int(pthread_mutex_t*, const timespec*)> pthread_mutex_timedlock{"pthread_mutex_timedlock"};
inline Call<int(pthread_mutex_t*, clockid_t, const timespec*)> pthread_mutex_clocklock{
    "pthread_mutex_clocklock"};
inline Call<int(pthread_mutex_t*)> pthread_mutex_unlock{"pthread_mutex_unlock"};

inline Call<int(pthread_cond_t*, const pthread_condattr_t*)> pthread_cond_init{"pthread_cond_init"};
inline Call<int(pthread_cond_t*)> pthread_cond_destroy{"pthread_cond_destroy"};
inline Call<int(pthread_cond_t*, pthread_mutex_t*)> pthread_cond_wait{"pthread_cond_wait"};
inline Call<int(pthread_cond_t*, pthread_mutex_t*, const timespec*)> pthread_cond_timedwait{
    "pthread_cond_timedwait"};
inline Call<int(pthread_cond_t*, pthread_mutex_t*, clockid_t, const timespec*)> pthread_cond_clockwait{
    "pthread_cond_clockwait"};
inline Call<int(pthread_cond_t*)> pthread_cond_signal{"pthread_cond_signal"};
inline Call<int(pthread_cond_t*)> pthread_cond_broadcast{"pthread_cond_broadcast"};

inline Call<int(pthread_rwlock_t*)> pthread_rwlock_rdlock{"pthread_rwlock_rdlock"};
inline Call<int(pthread_rwlock_t*)> pthread_rwlock_tryrdlock{"pthread_rwlock_tryrdlock"};
inline Call<int(pthread_rwlock_t*)> pthread_rwlock_wrlock{"pthread_rwlock_wrlock"};
inline Call<int(pthread_rwlock_t*)> pthread_rwlock_trywrlock{"pthread_rwlock_trywrlock"};
inline Call<int(pthread_rwlock_t*, const timespec*)> pthread_rwlock_timedrdlock{"pthread_rwlock_timedrdlock"};
inline Call<int(pthread_rwlock_t*, const timespec*)> pthread_rwlock_timedwrlock{"pthread_rwlock_timedwrlock"};
inline Call<int(pthread_rwlock_t*, clockid_t, const timespec*)> pthread_rwlock_clockrdlock{
    "pthread_rwlock_clockrdlock"};
inline Call<int(pthread_rwlock_t*, clockid_t, const timespec*)> pthread_rwlock_clockwrlock{
    "pthread_rwlock_clockwrlock"};
inline Call<int(pthread_rwlock_t*)> pthread_rwlock_unlock{"pthread_rwlock_unlock"};

inline Call<int(pthread_spinlock_t*)> pthread_spin_lock{"pthread_spin_lock"};
inline Call<int(pthread_spinlock_t*)> pthread_spin_trylock{"pthread_spin_trylock"};
inline Call<int(pthread_spinlock_t*)> pthread_spin_unlock{"pthread_spin_unlock"};

inline Call<int(pthread_barrier_t*)> pthread_barrier_wait{"pthread_barrier_wait"};
inline Call<int(pthread_barrier_t*)> pthread_barrier_destroy{"pthread_barrier_destroy"};
inline Call<int(pthread_once_t*, void (*)())> pthread_once{"pthread_once"};

inline Call<int(sem_t*)> sem_wait{"sem_wait"};
inline Call<int(sem_t*)> sem_trywait{"sem_trywait"};
inline Call<int(sem_t*, const timespec*)> sem_timedwait{"sem_timedwait"};
inline Call<int(sem_t*, clockid_t, const timespec*)> sem_clockwait{"sem_clockwait"};
inline Call<int(sem_t*)> sem_post{"sem_post"};

inline Call<int(int, const struct sigaction*, struct sigaction*)> sigaction{"sigaction"};
inline Call<int(int, const sigset_t*, sigset_t*)> pthread_sigmask{"pthread_sigmask"};
inline Call<int(pthread_t, int)> pthread_kill{"pthread_kill"};
inline Call<int(pid_t, pid_t, int)> tgkill{"tgkill"};
inline Call<int(pthread_t, int, sigval)> pthread_sigqueue{"pthread_sigqueue"};
inline Call<int(pid_t, int)> kill{"kill"};
inline Call<int(pid_t, int, sigval)> sigqueue{"sigqueue"};
inline Call<int(const sigset_t*, siginfo_t*, const timespec*)> sigtimedwait{"sigtimedwait"};
inline Call<int(const sigset_t*, int*)> sigwait{"sigwait"};
inline Call<int(const sigset_t*, siginfo_t*)> sigwaitinfo{"sigwaitinfo"};
inline Call<int(const sigset_t*)> sigsuspend{"sigsuspend"};
inline Call<int()> pause{"pause"};
inline Call<int(int, const sigset_t*, int)> signalfd{"signalfd"};
inline Call<sighandler_t(int, sighandler_t)> signal{"signal"};

inline Call<pid_t(pid_t, int*, int, rusage*)> wait4{"wait4"};
inline Call<int(idtype_t, id_t, siginfo_t*, int)> waitid{"waitid"};
inline Call<pid_t()> fork{"fork"};

inline Call<int(int, int, ...)> fcntl{"fcntl"};
inline Call<int(int, int, ...)> fcntl64{"fcntl64"};
inline Call<int(int)> dup{"dup"};
inline Call<int(int, int)> dup2{"dup2"};
inline Call<int(int, int, int)> dup3{"dup3"};
inline Call<int(unsigned, unsigned, int)> close_range{"close_range"};
inline Call<void(int)> closefrom{"closefrom"};
inline Call<FILE*(int, const char*)> fdopen{"fdopen"};
inline Call<int(FILE*)> fileno{"fileno"};
inline Call<ssize_t(int, const iovec*, int)> readv{"readv"};
inline Call<ssize_t(int, const iovec*, int)> writev{"writev"};
inline Call<int(int*)> pipe{"pipe"};
inline Call<int(int*, int)> pipe2{"pipe2"};
inline Call<int(int, int, int)> socket{"socket"};
inline Call<int(int, int, int, int*)> socketpair{"socketpair"};
inline Call<int(int, sockaddr*, socklen_t*)> accept{"accept"};
inline Call<int(int, sockaddr*, socklen_t*, int)> accept4{"accept4"};
inline Call<int(int, const sockaddr*, socklen_t)> connect{"connect"};
inline Call<ssize_t(int, void*, size_t, int)> recv{"recv"};
inline Call<ssize_t(int, void*, size_t, int, sockaddr*, socklen_t*)> recvfrom{"recvfrom"};
inline Call<ssize_t(int, msghdr*, int)> recvmsg{"recvmsg"};
inline Call<ssize_t(int, const void*, size_t, int)> send{"send"};
inline Call<ssize_t(int, const void*, size_t, int, const sockaddr*, socklen_t)> sendto{"sendto"};
inline Call<ssize_t(int, const msghdr*, int)> sendmsg{"sendmsg"};
inline Call<int(unsigned, int)> eventfd{"eventfd"};
inline Call<int(int, int)> timerfd_create{"timerfd_create"};
inline Call<int(int, int, const itimerspec*, itimerspec*)> timerfd_settime{"timerfd_settime"};
inline Call<int(int, itimerspec*)> timerfd_gettime{"timerfd_gettime"};
inline Call<int(int)> epoll_create{"epoll_create"};
inline Call<int(int)> epoll_create1{"epoll_create1"};
inline Call<int(int, int, int, epoll_event*)> epoll_ctl{"epoll_ctl"};
inline Call<int(int, epoll_event*, int, int)> epoll_wait{"epoll_wait"};
inline Call<int(int, epoll_event*, int, int, const sigset_t*)> epoll_pwait{"epoll_pwait"};
inline Call<int(int, epoll_event*, int, const timespec*, const sigset_t*)> epoll_pwait2{"epoll_pwait2"};
inline Call<int(pid_t, unsigned)> pidfd_open{"pidfd_open"};
inline Call<int(pthread_t)> pthread_cancel{"pthread_cancel"};
inline Call<ssize_t(int, const iovec*, int, off_t, int)> preadv2{"preadv2"};
inline Call<int(int, mmsghdr*, unsigned, int, timespec*)> recvmmsg{"recvmmsg"};
inline Call<ssize_t(int, off64_t*, int, off64_t*, size_t, unsigned)> splice{"splice"};
inline Call<ssize_t(int, int, size_t, unsigned)> tee{"tee"};
inline Call<int(int, aiocb* const*, int, sigevent*)> lio_listio{"lio_listio"};
inline Call<wint_t(FILE*)> fgetwc{"fgetwc"};
inline Call<int(FILE*, char*, int, size_t)> setvbuf{"setvbuf"};
inline Call<int(FILE*)> getc{"getc"};
inline Call<int(int, FILE*)> ungetc{"ungetc"};
inline Call<size_t(void*, size_t, size_t, FILE*)> fread{"fread"};
inline Call<int(pid_t*, const char*, const posix_spawn_file_actions_t*, const posix_spawnattr_t*, char* const*,
                char* const*)>
    posix_spawn{"posix_spawn"};
inline Call<int(pid_t*, const char*, const posix_spawn_file_actions_t*, const posix_spawnattr_t*, char* const*,
                char* const*)>
    posix_spawnp{"posix_spawnp"};
inline Call<int(const char*)> system{"system"};
inline Call<FILE*(const char*, const char*)> popen{"popen"};
inline Call<int(FILE*)> pclose{"pclose"};
inline Call<int(mqd_t, const sigevent*)> mq_notify{"mq_notify"};
inline Call<mqd_t(const char*, int, ...)> mq_open{"mq_open"};
inline Call<int(int, int)> flock{"flock"};
inline Call<int(int, int, off_t)> lockf{"lockf"};

inline Call<unsigned(unsigned)> alarm{"alarm"};
inline Call<int(int, const itimerval*, itimerval*)> setitimer{"setitimer"};
inline Call<int(int, itimerval*)> getitimer{"getitimer"};
inline Call<int(clockid_t, sigevent*, timer_t*)> timer_create{"timer_create"};
inline Call<int(timer_t, int, const itimerspec*, itimerspec*)> timer_settime{"timer_settime"};
inline Call<int(timer_t, itimerspec*)> timer_gettime{"timer_gettime"};
inline Call<int(timer_t)> timer_getoverrun{"timer_getoverrun"};
inline Call<int(timer_t)> timer_delete{"timer_delete"};
inline Call<int(clockid_t, const timespec*)> clock_settime{"clock_settime"};
inline Call<int(const timeval*, const struct timezone*)> settimeofday{"settimeofday"};
inline Call<int(timespec*, int)> timespec_get{"timespec_get"};
inline Call<clock_t(tms*)> times{"times"};

inline Call<ssize_t(mqd_t, char*, size_t, unsigned*)> mq_receive{"mq_receive"};
inline Call<ssize_t(mqd_t, char*, size_t, unsigned*, const timespec*)> mq_timedreceive{"mq_timedreceive"};
inline Call<int(mqd_t, const char*, size_t, unsigned)> mq_send{"mq_send"};
inline Call<int(mqd_t, const char*, size_t, unsigned, const timespec*)> mq_timedsend{"mq_timedsend"};
inline Call<int(aiocb*)> aio_read{"aio_read"};
inline Call<int(aiocb*)> aio_write{"aio_write"};
inline Call<int(const aiocb* const*, int, const timespec*)> aio_suspend{"aio_suspend"};

inline Call<ssize_t(void*, size_t, unsigned)> getrandom{"getrandom"};
inline Call<int(void*, size_t)> getentropy{"getentropy"};
inline Call<std::uint32_t()> arc4random{"arc4random"};
inline Call<void(void*, size_t)> arc4random_buf{"arc4random_buf"};
inline Call<std::uint32_t(std::uint32_t)> arc4random_uniform{"arc4random_uniform"};
inline Call<int(thrd_t*, thrd_start_t, void*)> thrd_create{"thrd_create"};
inline Call<int(thrd_t, int*)> thrd_join{"thrd_join"};
inline Call<int(thrd_t)> thrd_detach{"thrd_detach"};
inline Call<int(mtx_t*)> mtx_lock{"mtx_lock"};
inline Call<int(mtx_t*)> mtx_trylock{"mtx_trylock"};
inline Call<int(mtx_t*, const timespec*)> mtx_timedlock{"mtx_timedlock"};
inline Call<int(mtx_t*)> mtx_unlock{"mtx_unlock"};
inline Call<int(cnd_t*)> cnd_init{"cnd_init"};
inline Call<void(cnd_t*)> cnd_destroy{"cnd_destroy"};
inline Call<int(cnd_t*, mtx_t*)> cnd_wait{"cnd_wait"};
inline Call<int(cnd_t*, mtx_t*, const timespec*)> cnd_timedwait{"cnd_timedwait"};
inline Call<int(cnd_t*)> cnd_signal{"cnd_signal"};
inline Call<int(cnd_t*)> cnd_broadcast{"cnd_broadcast"};

inline Call<int(int, const void*, size_t, int)> msgsnd{"msgsnd"};
inline Call<ssize_t(int, void*, size_t, long, int)> msgrcv{"msgrcv"};
inline Call<int(int, int, msqid_ds*)> msgctl{"msgctl"};
inline Call<int(int, sembuf*, size_t)> semop{"semop"};
inline Call<int(int, sembuf*, size_t, const timespec*)> semtimedop{"semtimedop"};
inline Call<int(int, int, int, ...)> semctl{"semctl"};

inline Call<long(long, ...)> syscall{"syscall"};

inline Call<int(pollfd*, nfds_t, int)> poll{"poll"};
inline Call<int(pollfd*, nfds_t, const timespec*, const sigset_t*)> ppoll{"ppoll"};
inline Call<int(int, fd_set*, fd_set*, fd_set*, const timespec*, const sigset_t*)> pselect{"pselect"};
inline Call<int(int, fd_set*, fd_set*, fd_set*, timeval*)> select{"select"};

}  // namespace vp::real

#endif
