/* Symbol visibility for libpd-plugin.so.
 *
 * The library is built with -fvisibility=hidden; every function the engine,
 * the transport or a host may call is declared with PD_API, which makes it
 * part of the dynamic symbol table. Internal C++ helpers stay hidden. */
#ifndef PD_PLUGIN_PD_EXPORT_H
#define PD_PLUGIN_PD_EXPORT_H

#if defined(__GNUC__) || defined(__clang__)
#define PD_API __attribute__((visibility("default")))
#else
#define PD_API
#endif

#ifdef __cplusplus
#define PD_BEGIN_DECLS extern "C" {
#define PD_END_DECLS }
#else
#define PD_BEGIN_DECLS
#define PD_END_DECLS
#endif

#endif
