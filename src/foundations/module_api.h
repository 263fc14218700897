/**
 * @file module_api.h
 * @brief Marks the module-level functions that the library exports beside its client interface.
 */
#ifndef ZELVANE_FOUNDATIONS_MODULE_API_H
#define ZELVANE_FOUNDATIONS_MODULE_API_H

/** Goes in front of a declaration inside `extern "C"`; all else is hidden. */
#define MODULE_API __attribute__((visibility("default")))

#endif
