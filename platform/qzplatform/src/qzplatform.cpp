// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "qzplatform/qzplatform.h"

#include <pthread.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <mutex>
#include <string_view>
#include <thread>
#include <vector>

namespace QZPlatform {
namespace {

struct VersionRegistry {
  std::mutex mutex;
  std::vector<QZVersion (*)()> entries;
};

// Never destroyed: libraries may register and ask in any order of static initialisation.
VersionRegistry& Registry() {
  static auto* registry = new VersionRegistry;
  return *registry;
}

}  // namespace

bool QZWin32ThreadLocalAlloc(unsigned long* key, void (*destroy)(void*)) {
  pthread_key_t slot{};
  if (key == nullptr || pthread_key_create(&slot, destroy) != 0) return false;
  *key = slot;
  return true;
}

bool QZWin32ThreadLocalFree(unsigned long key) {
  return pthread_key_delete(static_cast<pthread_key_t>(key)) == 0;
}

bool QZWin32ThreadLocalSet(unsigned long key, void* value) {
  return pthread_setspecific(static_cast<pthread_key_t>(key), value) == 0;
}

void* QZWin32ThreadLocalGet(unsigned long key) {
  return pthread_getspecific(static_cast<pthread_key_t>(key));
}

void QZSleep(unsigned long milliseconds) {
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

unsigned long long QZGetAllocaThreshold() {
  return 4096;
}

void* QZMalloca(std::size_t bytes) {
  return std::malloc(bytes == 0 ? 1 : bytes);
}

void QZFreea(void* scratch) {
  std::free(scratch);
}

QZVersion::QZVersion(const char* name, const char* version, const char* build)
    : name_(name), version_(version), build_(build) {}

bool QZRegisterVersion(QZVersion (*describe)()) {
  if (describe == nullptr) return false;
  VersionRegistry& registry = Registry();
  const std::lock_guard lock(registry.mutex);
  registry.entries.push_back(describe);
  return true;
}

std::size_t QZNumRegisteredVersions() {
  VersionRegistry& registry = Registry();
  const std::lock_guard lock(registry.mutex);
  return registry.entries.size();
}

QZVersion QZGetRegisteredVersion(std::size_t i) {
  QZVersion (*describe)() = nullptr;
  {
    VersionRegistry& registry = Registry();
    const std::lock_guard lock(registry.mutex);
    if (i < registry.entries.size()) describe = registry.entries[i];
  }
  return describe != nullptr ? describe() : QZVersion("", "", "");
}

namespace {

bool GrantAll(const char* /*feature*/) {
  return true;
}
std::atomic<QZLicenseHook> licenseHook{&GrantAll};

}  // namespace

bool QZCheckLicense(const char* feature) {
  return licenseHook.load()(feature);
}

bool QZIsLicensed(const char* className) {
  constexpr std::array<std::string_view, 2> kLicensed{"QZGenericFF", "QZGenericFF2"};
  return className != nullptr && std::ranges::find(kLicensed, className) != kLicensed.end();
}

QZLicenseHook QZSetLicenseHook(QZLicenseHook hook) {
  const QZLicenseHook before = licenseHook.exchange(hook != nullptr ? hook : &GrantAll);
  return before != &GrantAll ? before : nullptr;
}

}  // namespace QZPlatform
