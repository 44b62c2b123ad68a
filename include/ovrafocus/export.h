/**
 * @file export.h
 * Marks what libovrafocus.so offers to its host.
 *
 * The library is built with hidden visibility: only what carries OVRA_API is visible. All functions
 * and objects have plain C linkage, whichever language includes the headers.
 */
#ifndef OVRAFOCUS_EXPORT_H
#define OVRAFOCUS_EXPORT_H

/** Makes a function or an object visible to the host. */
#define OVRA_API __attribute__((visibility("default")))

/** Stand around declarations that have C linkage. @{ */
#ifdef __cplusplus
#define OVRA_BEGIN_DECLS extern "C" {
#define OVRA_END_DECLS }
#else
#define OVRA_BEGIN_DECLS
#define OVRA_END_DECLS
#endif
/** @} */

#endif
