// Makes allocations of one thread fail: the test program's operator new counts down.
#ifndef PEXO_TESTS_PIPELINE_FAILING_NEW_H_
#define PEXO_TESTS_PIPELINE_FAILING_NEW_H_

namespace pexo::test {

// While it lives, the allocation number `countdown` (from 0) of the calling thread fails, once.
class FailingNew {
 public:
  explicit FailingNew(int countdown);
  ~FailingNew();
  FailingNew(const FailingNew&) = delete;
  FailingNew& operator=(const FailingNew&) = delete;

  // Whether the failure has come.
  static bool Struck();
};

}  // namespace pexo::test

#endif  // PEXO_TESTS_PIPELINE_FAILING_NEW_H_
