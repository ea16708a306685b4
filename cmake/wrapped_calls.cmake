# System calls that tests can make fail: each is linked with -Wl,--wrap=NAME, and tests/support/faults.cpp
# defines __wrap_NAME, which calls __real_NAME unless a test asked for a fault.
set(ORLO_WRAPPED_CALLS
    open read write pread pwrite dup utimensat close lseek fsync ftruncate stat opendir readdir getcwd pathconf flock fcntl
    posix_fadvise mkdir fstat mmap munmap msync shm_open shm_unlink dlclose pthread_key_delete
    openat unlinkat linkat renameat2 mkdirat fstatat copy_file_range fdopendir unlink rmdir symlink link chmod statvfs
    pthread_mutexattr_init pthread_mutexattr_settype pthread_mutexattr_setpshared pthread_mutexattr_destroy
    pthread_mutex_init pthread_mutex_destroy
    pthread_condattr_init pthread_condattr_setpshared pthread_condattr_setclock pthread_condattr_destroy
    pthread_cond_init pthread_cond_broadcast pthread_cond_destroy
    sem_init sem_destroy sem_open sem_close sem_unlink
    _ZnwmRKSt9nothrow_t)

# The test folders that link that way; the others call the system directly.
set(ORLO_WRAPPED_FOLDERS data files rows process threads)

# Allocations that tests can make fail (tests/support/allocations.h), and the folders that do.
set(ORLO_ALLOCATION_CALLS malloc realloc _Znwm)
set(ORLO_ALLOCATION_FOLDERS strings)
