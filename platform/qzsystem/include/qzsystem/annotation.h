// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <string>
#include <vector>

#include "qzplatform/export.h"

namespace QZSystem {

/// Red, green, blue and opacity, each 0 to 255.
class QZ_API QZColor {
 public:
  constexpr QZColor() = default;
  constexpr QZColor(unsigned char red,
                    unsigned char green,
                    unsigned char blue,
                    unsigned char opacity = 255)
      : rgba_{red, green, blue, opacity} {}
  constexpr const std::array<unsigned char, 4>& GetRGBA() const { return rgba_; }
  constexpr bool operator==(const QZColor&) const = default;

 private:
  std::array<unsigned char, 4> rgba_{0, 0, 0, 255};
};

inline constexpr QZColor QZBlue{0, 0, 255};
inline constexpr QZColor QZRed{255, 0, 0};

/// A titled, coloured mark for display, with children: either a plain node or an arrow. Copies:
/// deep.
class QZ_API QZAnnotation {
 public:
  void SetTitle(const char* title) { title_ = title != nullptr ? title : ""; }
  const std::string& GetTitle() const { return title_; }
  QZAnnotation& SetColor(const QZColor& color) {
    color_ = color;
    return *this;
  }
  const QZColor& GetColor() const { return color_; }
  void AddChild(const QZAnnotation& child) { children_.push_back(child); }
  const std::vector<QZAnnotation>& GetChildren() const { return children_; }

  bool IsArrow() const { return isArrow_; }
  /// Start and end of an arrow, x, y, z in Å; zeros for a plain node.
  const float* GetFrom() const { return from_.data(); }
  const float* GetTo() const { return to_.data(); }
  /// The four shape parameters of an arrow, as given to `QZAnnotateArrow`.
  const float* GetShape() const { return shape_.data(); }

 private:
  friend QZ_API QZAnnotation
  QZAnnotateArrow(const char*, float*, float*, float, float, float, float);

  std::string title_;
  QZColor color_;
  std::vector<QZAnnotation> children_;
  bool isArrow_ = false;
  std::array<float, 3> from_{};
  std::array<float, 3> to_{};
  std::array<float, 4> shape_{};
};

/// An arrow from `from` to `to` (3 floats each: x, y, z in Å; in, copied). Its shape: the fraction
/// of the arrow's length that the shaft takes, then three radii in Å: of the shaft, of the base of
/// the head and of the tip of the head.
QZ_API QZAnnotation QZAnnotateArrow(const char* title,
                                    float* from,
                                    float* to,
                                    float shaftFraction,
                                    float shaftRadius,
                                    float headRadius,
                                    float tipRadius);

}  // namespace QZSystem
