"""The timing the peer scripts share: the best of a number of runs of a piece
of work on one clock (wall time by default; time.process_time or
time.thread_time leave out the time other programs hold the processor).

The scripts run as `/usr/bin/python3 bench/<name>_peer.py`, so this module,
beside them, is found as a sibling.
"""
import time


def best(fn, repeats, clock=time.perf_counter):
    """Seconds of the fastest of `repeats` runs of fn() on `clock`."""
    t = float("inf")
    for _ in range(repeats):
        start = clock()
        fn()
        t = min(t, clock() - start)
    return t
