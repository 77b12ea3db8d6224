/// A test binary outside a world: each case that was asked for runs in a process and a world of its
/// own, so that a case gives the same verdict alone, among others, and under ctest.
#pragma once

namespace cri_test {

/// Whether this process is in a world, where it runs the one case that it was started for.
bool IsInAWorld();

/// To be called after InitGoogleTest with the words that the program was started with.
/// RUN_ALL_TESTS then lists the cases if it is asked to; otherwise it starts them and ends the
/// process, with status 0 if there were some and all have passed, else 1.
void RunEachCaseAlone(int argc, char** argv);

/// To be called after InitGoogleTest in a world: one case is what it can be used for.
void RunOneCaseHere();

}  // namespace cri_test
