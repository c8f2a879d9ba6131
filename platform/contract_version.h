// The version of the contract, which is all of platform/*.h: goes up by one when a call comes, goes, or promises
// something else (decision 0193). What is new in each is in docs/contract-changes.md.
#ifndef PLATFORM_CONTRACT_VERSION_H
#define PLATFORM_CONTRACT_VERSION_H

#define CONTRACT_VERSION 1

// In a ground, at file scope: GROUND_KEEPS_CONTRACT(1); does not compile when the contract has become another. With
// #if CONTRACT_VERSION >= 2 a ground keeps more than one.
#ifdef __cplusplus
#define GROUND_KEEPS_CONTRACT(version)                                                                                 \
    static_assert((version) == CONTRACT_VERSION, "see docs/contract-changes.md for what is new in the contract")
#else
#define GROUND_KEEPS_CONTRACT(version)                                                                                 \
    _Static_assert((version) == CONTRACT_VERSION, "see docs/contract-changes.md for what is new in the contract")
#endif

#endif
