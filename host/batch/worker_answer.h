// How a worker, forked or started again, hands back its answer: the work's
// bytes on a descriptor, or a line on standard error and kWorkThrew.
#ifndef DEFLASH_HOST_BATCH_WORKER_ANSWER_H_
#define DEFLASH_HOST_BATCH_WORKER_ANSWER_H_

#include <functional>
#include <string>

namespace deflash_host {

/// Runs `work` and writes all of its answer to `fd`: 0, or kWorkThrew when
/// the work threw (after "deflash: internal error..." on standard error) or
/// the answer could not be written.
int answer_with(int fd, const std::function<std::string()>& work);

}  // namespace deflash_host

#endif  // DEFLASH_HOST_BATCH_WORKER_ANSWER_H_
