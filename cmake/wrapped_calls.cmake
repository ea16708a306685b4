# System calls that tests can make fail: each is linked with -Wl,--wrap=NAME, and tests/support/faults.cpp
# defines __wrap_NAME, which calls __real_NAME unless a test asked for a fault.
set(ORLO_WRAPPED_CALLS
    open read write pread pwrite close lseek fsync ftruncate stat opendir readdir getcwd pathconf flock fcntl
    posix_fadvise dup ioctl mkdir)

# The test folders that link that way; the others call the system directly.
set(ORLO_WRAPPED_FOLDERS files rows)
