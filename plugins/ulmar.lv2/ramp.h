// A gain on its way to where it was set.
#pragma once

namespace ulmar::lv2 {

/// Moves in a straight line, so that no setting makes a step in the signal.
class Ramp {
 public:
  explicit Ramp(int length) : length_(length) {}

  /// Takes `length` frames from the next one on, unless the target is the one before.
  void setTarget(float target) {
    if (target == target_) return;
    target_ = target;
    step_ = (target - value_) / static_cast<float>(length_);
    left_ = length_;
  }
  /// There at once.
  void jump() {
    value_ = target_;
    left_ = 0;
  }
  float next() {
    if (left_ == 0) return value_;
    value_ = --left_ == 0 ? target_ : value_ + step_;
    return value_;
  }
  bool atTarget() const { return left_ == 0; }
  float value() const { return value_; }

 private:
  int length_;
  int left_ = 0;
  float value_ = 0.0F;
  float target_ = 0.0F;
  float step_ = 0.0F;
};

}  // namespace ulmar::lv2
