#include "hold_judge.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "integration/harness.h"

namespace ncdm_test {
namespace {

std::int64_t g_callbacks_ns = 0;

// What waits for the registration task; threads may be adding to it.
std::int64_t WaitingRegistrations() {
  pthread_mutex_lock(&g_nc_dm_reg_list.list_mutex);
  const std::int64_t count = PendingRegistrations();
  pthread_mutex_unlock(&g_nc_dm_reg_list.list_mutex);
  return count;
}

// A request to print the tree carries nothing and asks for all of it.
std::int64_t PrintedNodes() {
  const auto* head = reinterpret_cast<const nc_dm_msg_head_t*>(g_nc_dm_mng_info.recv_msg_buf);
  return head->type == NC_DM_MSG_TYPE_SHOW ? std::int64_t{g_nc_agent_dm.total_node} : 0;
}

bool RunsRegistrations(LoopTask kind) {
  return kind == LoopTask::kRegister || kind == LoopTask::kReconnect || kind == LoopTask::kConnect;
}

}  // namespace

std::string Hold::Text() const {
  char text[128];
  snprintf(text, sizeof(text), "%s, %.2f ms with %lld elements, %.0f %% of its limit",
           LoopTaskName(kind), static_cast<double>(ns) / 1e6, static_cast<long long>(elements),
           share() * 100);
  return text;
}

std::int64_t HoldJudge::Counted::Change() {
  if (list->next == nullptr || list->next == list) {
    const std::int64_t released = count;
    count = 0;
    last = nullptr;
    return released;
  }
  std::int64_t appended = 0;
  const list_head* const from = last == nullptr ? list : last;
  for (const list_head* at = from->next; at != list; at = at->next) ++appended;
  count += appended;
  last = list->prev;
  return appended;
}

HoldJudge::Answer HoldJudge::PendingAnswer() {
  const list_head& head = g_nc_dm_mng_info.param_list.head;
  return {head.next, head.prev, g_nc_dm_mng_info.msg_head.sid};
}

std::int64_t HoldJudge::AnswerElements() {
  Counted answer{&g_nc_dm_mng_info.param_list.head};
  return answer.Change();
}

void HoldJudge::CallbackTook(std::int64_t ns) { g_callbacks_ns += ns; }

void HoldJudge::Forget() {
  worst_ = {};
  longest_ = {};
}

std::int64_t HoldJudge::AsleepForNobody(const TaskTime& time,
                                        const std::vector<std::int64_t>& running) {
  const std::int64_t asleep = std::max<std::int64_t>(time.held - time.cpu, 0);
  const std::int64_t waiting = time.wall - time.held;
  std::int64_t for_somebody = 0;
  for (const std::int64_t ns : running) for_somebody += std::max<std::int64_t>(ns - waiting, 0);
  return std::max<std::int64_t>(asleep - for_somebody, 0);
}

std::vector<std::int64_t> HoldJudge::ThreadsRunning() const {
  std::vector<std::int64_t> running;
  for (const SchedTimes* thread : threads_) running.push_back(thread->Running());
  return running;
}

void HoldJudge::Before(LoopTask kind) {
  elements_ = RunsRegistrations(kind) ? WaitingRegistrations() : 0;
  answer_before_ = PendingAnswer();
  callbacks_before_ = g_callbacks_ns;
  running_before_ = ThreadsRunning();
}

void HoldJudge::After(LoopTask kind, const TaskTime& time) {
  std::vector<std::int64_t> running = ThreadsRunning();
  for (std::size_t i = 0; i < running.size(); ++i) running[i] -= running_before_[i];
  const std::int64_t apart = running.empty() ? 0 : AsleepForNobody(time, running);
  Hold hold;
  hold.kind = kind;
  hold.ns = time.held - apart - (g_callbacks_ns - callbacks_before_);
  hold.elements = elements_ + edits_.Change() + filters_.Change();
  const bool is_answered = kind == LoopTask::kRead && PendingAnswer() != answer_before_;
  if (is_answered) hold.elements += AnswerElements();
  if (kind == LoopTask::kRead) hold.elements += PrintedNodes();
  // A reconnection queues the whole tree anew.
  if (kind == LoopTask::kReconnect) {
    hold.elements = std::max(hold.elements, WaitingRegistrations());
  }
  if (hold.ns > longest_.ns) longest_ = hold;
  if (hold.share() > worst_.share()) worst_ = hold;
}

}  // namespace ncdm_test
