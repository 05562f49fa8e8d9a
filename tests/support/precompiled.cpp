// Carries the precompiled GoogleTest for all test programs.
