// The platform calls that the framework is written against, as this layer supplies them elsewhere
// than on Windows: the same names, arguments, status values and error codes, and no more of them
// than are used.
#pragma once

#include <cstddef>
#include <cstdint>

using BOOL = int;
using DWORD = std::uint32_t;
using UINT = std::uint32_t;
using ULONG = std::uint32_t;
using NTSTATUS = std::int32_t;
using PUCHAR = unsigned char*;
using UCHAR = unsigned char;
using HANDLE = void*;
using HMODULE = void*;
using FARPROC = void*;
using BCRYPT_HANDLE = void*;
using BCRYPT_ALG_HANDLE = void*;
using BCRYPT_KEY_HANDLE = void*;
using BCRYPT_HASH_HANDLE = void*;

// Cryptography. A negative status is a failure.
NTSTATUS BCryptOpenAlgorithmProvider(BCRYPT_ALG_HANDLE* algorithm, const wchar_t* name,
                                     const wchar_t* implementation, ULONG flags);
NTSTATUS BCryptCloseAlgorithmProvider(BCRYPT_ALG_HANDLE algorithm, ULONG flags);
NTSTATUS BCryptGetProperty(BCRYPT_HANDLE object, const wchar_t* property, PUCHAR value, ULONG size,
                           ULONG* written, ULONG flags);
NTSTATUS BCryptSetProperty(BCRYPT_HANDLE object, const wchar_t* property, PUCHAR value, ULONG size,
                           ULONG flags);
NTSTATUS BCryptGenerateSymmetricKey(BCRYPT_ALG_HANDLE algorithm, BCRYPT_KEY_HANDLE* key,
                                    PUCHAR keyObject, ULONG keyObjectSize, PUCHAR secret,
                                    ULONG secretSize, ULONG flags);
NTSTATUS BCryptDecrypt(BCRYPT_KEY_HANDLE key, PUCHAR input, ULONG inputSize, void* paddingInfo,
                       PUCHAR iv, ULONG ivSize, PUCHAR output, ULONG outputSize, ULONG* resultSize,
                       ULONG flags);
NTSTATUS BCryptDestroyKey(BCRYPT_KEY_HANDLE key);
NTSTATUS BCryptCreateHash(BCRYPT_ALG_HANDLE algorithm, BCRYPT_HASH_HANDLE* hash, PUCHAR hashObject,
                          ULONG hashObjectSize, PUCHAR secret, ULONG secretSize, ULONG flags);
NTSTATUS BCryptHashData(BCRYPT_HASH_HANDLE hash, PUCHAR input, ULONG inputSize, ULONG flags);
NTSTATUS BCryptFinishHash(BCRYPT_HASH_HANDLE hash, PUCHAR output, ULONG outputSize, ULONG flags);
NTSTATUS BCryptDestroyHash(BCRYPT_HASH_HANDLE hash);

// The process heap.
HANDLE GetProcessHeap();
void* HeapAlloc(HANDLE heap, DWORD flags, std::size_t size);
BOOL HeapFree(HANDLE heap, DWORD flags, void* block);

// The loader. Names are wide, and the last error tells the kind of failure: 126 when no file is
// there, another code when one is there and cannot be loaded. The text of that code is then the
// loader's own.
inline constexpr DWORD ERROR_MOD_NOT_FOUND = 126;
inline constexpr wchar_t moduleSuffix[] = L".so";
HMODULE LoadLibraryW(const wchar_t* fileName);
FARPROC GetProcAddress(HMODULE module, const char* name);
BOOL FreeLibrary(HMODULE module);
DWORD GetModuleFileNameW(HMODULE module, wchar_t* fileName, DWORD size);
DWORD GetDllDirectoryA(DWORD size, char* directory);
BOOL SetDllDirectoryA(const char* directory);

// Errors and texts. The last error is the thread's own.
DWORD GetLastError();
void SetLastError(DWORD code);
DWORD FormatMessageW(DWORD flags, const void* source, DWORD code, DWORD language, wchar_t* buffer,
                     DWORD size, void* arguments);
int MultiByteToWideChar(UINT codePage, DWORD flags, const char* input, int inputSize,
                        wchar_t* output, int outputSize);
int WideCharToMultiByte(UINT codePage, DWORD flags, const wchar_t* input, int inputSize,
                        char* output, int outputSize, const char* defaultCharacter,
                        BOOL* usedDefault);

// The process environment and memory.
int _putenv(const char* entry);
void* SecureZeroMemory(void* block, std::size_t size);
