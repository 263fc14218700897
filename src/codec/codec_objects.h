/**
 * @file codec_objects.h
 * @brief The list of all handles and memory that codec records own.
 *
 * A record is plain memory of its caller: it may be copied, freed twice, or cleared by a second creation without a
 * release. So what it owns is entered here, with the function that ends it. An object is ended once, by whoever asks
 * first; an object that the list does not know is left alone. What a record left behind is ended with the library.
 *
 * All functions may be called on any thread. The functions that end objects run without the list's lock.
 */
#ifndef ZELVANE_CODEC_CODEC_OBJECTS_H
#define ZELVANE_CODEC_CODEC_OBJECTS_H

#include "codec/module_code.h"

/** Ends one object. */
using CODEC_DESTROY_PF = void (*)(void *pObject);

/**
 * Enters an object.
 * @param pstOwner   the record; null for an object that nobody will end before the library ends
 * @param pObject    not null, not in the list
 * @param pfnDestroy how it ends
 * @return false if there is no memory for the entry: the object has been ended then
 */
bool Codec_Keep(const CODEC_INFO_S *pstOwner, void *pObject, CODEC_DESTROY_PF pfnDestroy);

/** Ends an object and strikes it off; null and objects that are not in the list are ignored. */
void Codec_Drop(void *pObject);

/** Notes that a record is being cleared: what it still owns lasts until Codec_DropAbandoned(). */
void Codec_Abandon(const CODEC_INFO_S *pstOwner);

/** Ends all objects without an owner. */
void Codec_DropAbandoned(void);

#endif
