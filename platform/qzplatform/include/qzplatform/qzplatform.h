// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>
#include <string>

#include "qzplatform/export.h"

namespace QZPlatform {

/// Reserves a thread-local slot and writes its number to `*key`. When a thread ends, `destroy` (may
/// be null) is called with the value that the thread has stored, unless that value is null. Fails:
/// false when the system has no slot left; `*key` is then unchanged.
QZ_API bool QZWin32ThreadLocalAlloc(unsigned long* key, void (*destroy)(void*));
/// Releases a slot; values still stored in it are not destroyed. Fails: false for an unknown key.
QZ_API bool QZWin32ThreadLocalFree(unsigned long key);
/// Stores or reads the calling thread's value of a slot; the value is null until one is stored. The
/// slot does not own the value. Fails: storing is false for an unknown key.
QZ_API bool QZWin32ThreadLocalSet(unsigned long key, void* value);
QZ_API void* QZWin32ThreadLocalGet(unsigned long key);

QZ_API void QZSleep(unsigned long milliseconds);

/// Bytes up to which a scratch array may live on the stack.
QZ_API unsigned long long QZGetAllocaThreshold();
/// Heap scratch of `bytes` bytes aligned for any type; null when memory is short.
QZ_API void* QZMalloca(std::size_t bytes);
/// Releases what `QZMalloca` returned; null is accepted.
QZ_API void QZFreea(void* scratch);

/// Name, version and build description of a library.
class QZ_API QZVersion {
 public:
  QZVersion(const char* name, const char* version, const char* build);
  const std::string& GetName() const { return name_; }
  const std::string& GetVersion() const { return version_; }
  const std::string& GetBuild() const { return build_; }

 private:
  std::string name_;
  std::string version_;
  std::string build_;
};

/// Registers a library when it is loaded; `describe` is called by `QZGetRegisteredVersion`.
QZ_API bool QZRegisterVersion(QZVersion (*describe)());
QZ_API std::size_t QZNumRegisteredVersions();
/// The i-th registered library in load order; i must be below `QZNumRegisteredVersions()`.
QZ_API QZVersion QZGetRegisteredVersion(std::size_t i);

/// Asks the licence hook whether `feature` may be used. This build is free software: the default
/// hook grants everything.
QZ_API bool QZCheckLicense(const char* feature);
/// Whether the platform names this class as licensed: its first construction in a process then asks
/// `QZCheckLicense` once.
QZ_API bool QZIsLicensed(const char* className);
/// Replaces the licence hook (null restores the default) and returns the previous hook. Safe from
/// several threads.
using QZLicenseHook = bool (*)(const char* feature);
QZ_API QZLicenseHook QZSetLicenseHook(QZLicenseHook hook);

}  // namespace QZPlatform
