// Work for several threads.
#pragma once

#include <thread>
#include <vector>

namespace kel {

// Calls work(0), work(1), ... at the same time and waits for their ends.
template <typename Work>
void in_threads(int count, Work const& work) {
  std::vector<std::jthread> threads;
  for (int number = 0; number < count; ++number)
    threads.emplace_back([&work, number] { work(number); });
}

}  // namespace kel
