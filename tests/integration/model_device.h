// The device, its application and the model of both, which are always told the same.
#ifndef TESTS_INTEGRATION_MODEL_DEVICE_H_
#define TESTS_INTEGRATION_MODEL_DEVICE_H_

#include <chrono>
#include <string>

#include "device_app.h"
#include "harness.h"
#include "plain_device.h"

namespace ncdm_test {

class ModelDevice {
 public:
  DeviceApp& app() { return app_; }
  PlainDevice& model() { return model_; }
  Device& device() { return device_; }

  // Gives the application a little of everything, before the start.
  void Put();
  // Starts server and agent, and waits until all is registered.
  void Start();

  // Runs one request and compares the answer. What differs; empty when nothing does.
  std::string Check(const ModelRequest& request) {
    ncdm::server::Answer answer;
    return Check(request, &answer);
  }
  std::string Check(const ModelRequest& request, ncdm::server::Answer* answer);

  // What the last request took, from its sending to its end.
  std::chrono::nanoseconds last_duration() const { return last_duration_; }

  // Fails the test when data, counts or reads of everything differ.
  void CompareEverything();
  // The same without the counts, when there is more in the tree than the model.
  void CompareData();

 private:
  DeviceApp app_;
  PlainDevice model_;
  Device device_;
  std::chrono::nanoseconds last_duration_{};
};

}  // namespace ncdm_test

#endif  // TESTS_INTEGRATION_MODEL_DEVICE_H_
