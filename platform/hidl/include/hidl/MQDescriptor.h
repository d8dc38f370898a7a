/*
 * Fast message queue descriptors. Generated headers include this file; no
 * interface of this project passes a queue, so the host has nothing to add.
 */
#ifndef HIDL_MQDESCRIPTOR_H
#define HIDL_MQDESCRIPTOR_H

#include <hidl/HidlSupport.h>

#endif  // HIDL_MQDESCRIPTOR_H
