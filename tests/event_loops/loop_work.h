/* What each event loop is given to do for 30 seconds beside the library: a tick every 100 ms, work deferred to
 * the loop's next round, bytes that another thread sends through a pipe, a signal to the program itself once a
 * second, and the end of a focus run, which is told on a thread of the library's. Each of them leaves its mark
 * in the trace: it reads an attribute of the lens motor that nobody else reads.
 */
#ifndef TESTS_EVENT_LOOPS_LOOP_WORK_H
#define TESTS_EVENT_LOOPS_LOOP_WORK_H

#ifdef __cplusplus
extern "C" {
#endif

enum { work_tick_ms = 100, work_length_ms = 30050 };

/**
 * Starts the library, asks for one run, and starts the thread that sends.
 * @param refreshed called on a thread of the library's at the end of the run: it wakes the loop, which then
 * calls work_refresh().
 * @return the end of the pipe that the loop reads, not blocking; -1 on failure.
 */
int work_begin(void (*refreshed)(void));

/* What the loop calls, on its own thread. */
void work_tick(void);
void work_deferred(void);
void work_signal(void); /* for each SIGUSR1 */
void work_refresh(void);

/** Reads what is in the pipe. @return 0 at its end, when the loop stops watching it. */
int work_readable(void);

/** Joins the sender, stops the library, and prints what was counted. @return the program's exit code. */
int work_end(void);

#ifdef __cplusplus
}
#endif

#endif
