/* The test support's System V namespace, for a program in C. */
#ifndef MOX_TEST_NAMESPACE_FOR_C_H
#define MOX_TEST_NAMESPACE_FOR_C_H

#ifdef __cplusplus
extern "C" {
#endif

/* Moves this process into a System V namespace of its own.
 * Returns 1; 0 on failure, with a line on standard error. */
int mox_test_enter_ipc_namespace(void);

#ifdef __cplusplus
}
#endif

#endif
