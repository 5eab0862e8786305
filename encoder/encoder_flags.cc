#include "encoder/encoder_flags.h"

#include "base/log.h"
#include "encoder/h264_encoder.h"

namespace talu {

std::atomic<bool> hw_encoder_bad{false};
std::atomic<bool> force_software_encoder{false};

LogBudget sync_input_failures(5);
LogBudget async_input_failures(3);

bool HardwareAllowed() {
  return !hw_encoder_bad.load(std::memory_order_relaxed) &&
         !force_software_encoder.load(std::memory_order_relaxed);
}

void MarkHardwareBad() { hw_encoder_bad.store(true, std::memory_order_relaxed); }

void SetEncoderPreference(bool forceSoftware) {
  force_software_encoder.store(forceSoftware, std::memory_order_relaxed);
  LogPrintf("[agent] 编码器偏好: %s\n",
            forceSoftware ? "强制软件编码(D3D 硬编关闭)" : "允许 D3D 硬编");
}

}  // namespace talu
