// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "files/gzip.h"

#include <zlib.h>

#include <algorithm>
#include <stdexcept>

namespace QZChem {
namespace {

constexpr std::size_t kChunk = std::size_t{64} << 10;
constexpr int kGzip = 15 + 16;  // zlib's largest window, and gzip's header and trailer
constexpr int kMagic = 0x1f;

Bytef* Bytes(std::vector<char>& buffer) {
  return reinterpret_cast<Bytef*>(buffer.data());
}

}  // namespace

bool IsGzip(std::streambuf& in) {
  using Traits = std::char_traits<char>;
  // The first byte is a control character that no text begins with; the second cannot be looked at
  // without taking the first.
  return Traits::eq_int_type(in.sgetc(), kMagic);
}

struct GzipReader::Inflater {
  Inflater() {
    if (inflateInit2(&stream, kGzip) != Z_OK) throw std::runtime_error("no memory to decompress");
  }
  Inflater(const Inflater&) = delete;
  Inflater& operator=(const Inflater&) = delete;
  ~Inflater() { inflateEnd(&stream); }
  z_stream stream{};
};

GzipReader::GzipReader(std::streambuf& in)
    : in_(in), inflater_(std::make_unique<Inflater>()), compressed_(kChunk), plain_(kChunk) {}

GzipReader::~GzipReader() = default;

bool GzipReader::refill() {
  z_stream& stream = inflater_->stream;
  if (stream.avail_in > 0) return true;
  const std::streamsize count =
      in_.sgetn(compressed_.data(), static_cast<std::streamsize>(compressed_.size()));
  stream.next_in = Bytes(compressed_);
  stream.avail_in = static_cast<uInt>(std::max<std::streamsize>(count, 0));
  return count > 0;
}

bool GzipReader::startMember() {
  z_stream& stream = inflater_->stream;
  while (hadMember_ && refill() && *stream.next_in == 0) {
    ++stream.next_in;
    --stream.avail_in;
  }
  if (!refill()) return false;
  if (hadMember_ && *stream.next_in != kMagic) {
    throw std::runtime_error("other data stand behind the compressed ones");
  }
  if (hadMember_ && inflateReset(&stream) != Z_OK) {
    throw std::runtime_error("the compressed data are damaged");
  }
  isInMember_ = true;
  return true;
}

GzipReader::int_type GzipReader::underflow() {
  z_stream& stream = inflater_->stream;
  for (;;) {
    if (!isInMember_ && !startMember()) return traits_type::eof();
    if (!refill()) throw std::runtime_error("the compressed data are cut short");
    stream.next_out = Bytes(plain_);
    stream.avail_out = static_cast<uInt>(plain_.size());
    const int status = inflate(&stream, Z_NO_FLUSH);
    const std::size_t count = plain_.size() - stream.avail_out;
    setg(plain_.data(), plain_.data(), plain_.data() + count);
    if (status == Z_STREAM_END) {
      isInMember_ = false;
      hadMember_ = true;
    } else if (status != Z_OK && status != Z_BUF_ERROR) {
      if (count == 0) throw std::runtime_error("the compressed data are damaged");
      isInMember_ = true;  // what came before is read, the next call fails again
    }
    if (count > 0) return traits_type::to_int_type(plain_[0]);
  }
}

struct GzipWriter::Deflater {
  Deflater() {
    constexpr int kMemory = 8;  // zlib's default
    if (deflateInit2(
            &stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, kGzip, kMemory, Z_DEFAULT_STRATEGY) !=
        Z_OK) {
      throw std::runtime_error("no memory to compress");
    }
  }
  Deflater(const Deflater&) = delete;
  Deflater& operator=(const Deflater&) = delete;
  ~Deflater() { deflateEnd(&stream); }
  z_stream stream{};
};

GzipWriter::GzipWriter(std::streambuf& out)
    : out_(out), deflater_(std::make_unique<Deflater>()), plain_(kChunk), compressed_(kChunk) {
  setp(plain_.data(), plain_.data() + plain_.size());
}

GzipWriter::~GzipWriter() {
  Finish();
}

bool GzipWriter::deflateAll(int mode) {
  if (hasFailed_ || isFinished_) return false;
  z_stream& stream = deflater_->stream;
  stream.next_in = Bytes(plain_);
  stream.avail_in = static_cast<uInt>(pptr() - pbase());
  int status = Z_OK;
  do {
    stream.next_out = Bytes(compressed_);
    stream.avail_out = static_cast<uInt>(compressed_.size());
    status = deflate(&stream, mode);
    const auto count = static_cast<std::streamsize>(compressed_.size() - stream.avail_out);
    hasFailed_ = status == Z_STREAM_ERROR || out_.sputn(compressed_.data(), count) != count;
  } while (!hasFailed_ && stream.avail_out == 0);
  setp(plain_.data(), plain_.data() + plain_.size());
  return !hasFailed_;
}

GzipWriter::int_type GzipWriter::overflow(int_type c) {
  if (!deflateAll(Z_NO_FLUSH)) return traits_type::eof();
  if (!traits_type::eq_int_type(c, traits_type::eof())) {
    *pptr() = traits_type::to_char_type(c);
    pbump(1);
  }
  return traits_type::not_eof(c);
}

int GzipWriter::sync() {
  return deflateAll(Z_NO_FLUSH) ? 0 : -1;
}

bool GzipWriter::Finish() {
  if (isFinished_) return !hasFailed_;
  deflateAll(Z_FINISH);
  isFinished_ = true;
  return !hasFailed_ && out_.pubsync() == 0;
}

}  // namespace QZChem
