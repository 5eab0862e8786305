// Every call that the host makes of others, and how each can fail. A call that is not in here fails
// the sweep, so that a new one is thought of.

const kNoDevice = 0x887A0005;
const kFail = 0x80004005;
const kNoMemory = 0x8007000E;
const kDenied = 0x80070005;
const kNoInterface = 0x80004002;

// An HRESULT in the place of the call.
const result = (value, label) => ({value, label, error: 0, way: 'instead'});
const failed = result(kFail, 'E_FAIL');
const noMemory = result(kNoMemory, 'E_OUTOFMEMORY');
const removed = result(kNoDevice, 'DXGI_ERROR_DEVICE_REMOVED');
const denied = result(kDenied, 'E_ACCESSDENIED');
const noInterface = result(kNoInterface, 'E_NOINTERFACE');
const notCurrent = result(0, 'FALSE');
// Null, FALSE or 0, with a last error.
const nothing = (error) => ({value: 0, label: `0, error ${error}`, error, way: 'instead'});
// The call does its work and says that it has failed.
const after = (fault) => ({...fault, way: 'after', label: `${fault.label}, done all the same`});
const code = (number) => ({value: number, label: `${number}`, error: 0, way: 'instead'});

/** Groups of calls, in the order of the table: {group: {call: its ways to fail}}. */
export const kFailing = {
  'Direct3D 11': {
    'D3D11CreateDevice': [result(0x887A0004, 'DXGI_ERROR_UNSUPPORTED')],
    'ID3D11Device::QueryInterface': [noInterface],
    'ID3D11Device::CreateTexture2D': [noMemory, removed],
    'ID3D11Device::GetDeviceRemovedReason': [removed],
    'ID3D11DeviceContext::Map': [noMemory, removed],
    'ID3D10Multithread::SetMultithreadProtected': [notCurrent],
  },
  'DXGI': {
    'IDXGIDevice::GetAdapter': [failed],
    'IDXGIAdapter::EnumOutputs': [result(0x887A0002, 'DXGI_ERROR_NOT_FOUND'), removed],
    'IDXGIAdapter::GetDesc': [failed],
    'IDXGIAdapter::CheckInterfaceSupport': [result(0x887A0004, 'DXGI_ERROR_UNSUPPORTED')],
    'IDXGIAdapter::GetParent': [failed],
    'IDXGIFactory1::IsCurrent': [notCurrent],
    'IDXGIOutput::QueryInterface': [noInterface],
    'IDXGIOutput::GetDesc': [failed],
    'IDXGIOutput1::DuplicateOutput': [denied, removed],
    'IDXGIOutputDuplication::AcquireNextFrame': [
      result(0x887A0026, 'DXGI_ERROR_ACCESS_LOST'), removed, result(0x887A0007, 'DXGI_ERROR_DEVICE_RESET'),
      failed, result(0x887A0027, 'DXGI_ERROR_WAIT_TIMEOUT'),
    ],
    'IDXGIOutputDuplication::GetFramePointerShape': [failed],
    'IDXGIOutputDuplication::ReleaseFrame': [after(result(0x887A0026, 'DXGI_ERROR_ACCESS_LOST'))],
    'IDXGIResource::QueryInterface': [noInterface],
  },
  'Media Foundation': {
    'MFStartup': [failed],
    'MFShutdown': [after(failed)],
    'MFTEnumEx': [failed],
    'MFCreateMediaType': [noMemory],
    'MFCreateSample': [noMemory],
    'MFCreateMemoryBuffer': [noMemory],
    'MFCreateDXGIDeviceManager': [noMemory],
    'IMFDXGIDeviceManager::ResetDevice': [failed],
    'IMFActivate::ActivateObject': [failed],
    'IMFAttributes::SetUINT32': [failed],
    'IMFMediaType::SetGUID': [noMemory],
    'IMFMediaType::SetUINT32': [noMemory],
    'IMFMediaType::SetUINT64': [noMemory],
    'IMFMediaType::GetGUID': [failed],
    'IMFSample::AddBuffer': [noMemory],
    'IMFSample::SetSampleTime': [failed],
    'IMFSample::SetSampleDuration': [failed],
    'IMFSample::GetUINT32': [failed],
    'IMFSample::GetSampleTime': [failed],
    'IMFSample::ConvertToContiguousBuffer': [noMemory],
    'IMFMediaBuffer::Lock': [failed],
    'IMFMediaBuffer::Unlock': [after(failed)],
    'IMFMediaBuffer::SetCurrentLength': [failed],
    'IMFTransform::QueryInterface': [noInterface],
    'IMFTransform::GetAttributes': [failed],
    'IMFTransform::GetStreamIDs': [failed],
    'IMFTransform::SetOutputType': [result(0xC00D36B4, 'MF_E_INVALIDMEDIATYPE')],
    'IMFTransform::SetInputType': [result(0xC00D36B4, 'MF_E_INVALIDMEDIATYPE')],
    'IMFTransform::GetOutputStreamInfo': [failed],
    'IMFTransform::GetOutputAvailableType': [failed],
    'IMFTransform::GetOutputStatus': [failed],
    'IMFTransform::ProcessMessage': [failed],
    'IMFTransform::ProcessInput': [failed, result(0xC00D36B5, 'MF_E_NOTACCEPTING')],
    'IMFTransform::ProcessOutput': [
      failed, result(0xC00D6D72, 'MF_E_TRANSFORM_NEED_MORE_INPUT'),
      result(0xC00D6D61, 'MF_E_TRANSFORM_STREAM_CHANGE'),
    ],
    'IMFMediaEventGenerator::GetEvent': [failed],
    'IMFMediaEvent::GetType': [failed],
    'ICodecAPI::SetValue': [failed],
  },
  'COM': {
    'CoInitializeEx': [result(0x80010106, 'RPC_E_CHANGED_MODE')],
    'CoIncrementMTAUsage': [noMemory],
    'CoCreateInstance': [result(0x80040154, 'REGDB_E_CLASSNOTREG')],
  },
  'Windows and messages': {
    'RegisterClassExW': [nothing(1410)],
    'CreateWindowExW': [nothing(1158)],
    'DestroyWindow': [after(nothing(1400))],
    'AddClipboardFormatListener': [nothing(1400)],
    'RemoveClipboardFormatListener': [after(nothing(1400))],
    'GetMessageW': [{value: 0xFFFFFFFF, label: '-1', error: 1400, way: 'instead'}],
    'PostMessageW': [after(nothing(1400))],
    'RedrawWindow': [nothing(8)],
  },
  'Input': {
    'SendInput': [nothing(5)],
    'GetCursorPos': [nothing(5)],
    'SetCursorPos': [nothing(5)],
    'GetSystemMetrics': [nothing(0)],
    'VkKeyScanA': [{value: 0xFFFF, label: '-1', error: 0, way: 'instead'}],
  },
  'Clipboard': {
    'OpenClipboard': [nothing(5)],
    'GetClipboardSequenceNumber': [nothing(5)],
    'GetClipboardOwner': [{value: 1, label: '1', error: 0, way: 'instead'}],
    'EmptyClipboard': [nothing(5)],
    'GetClipboardData': [nothing(1418)],
    'SetClipboardData': [nothing(8)],
    'CloseClipboard': [after(nothing(1418))],
    'GlobalAlloc': [nothing(8)],
    'GlobalLock': [nothing(8)],
    'GlobalSize': [nothing(6)],
    'MultiByteToWideChar': [nothing(1113)],
    'WideCharToMultiByte': [nothing(1113)],
  },
  'Streaming library': {
    'LoadLibraryW': [nothing(126)],
    'GetProcAddress': [nothing(127)],
    'tcar_global_init': [code(5)],
    'tcar_session_create': [code(6)],
    'tcar_session_send_encoded_video_frame': [code(7)],
    'tcar_session_send_custom_message': [code(8)],
    'tcar_set_screen_info': [code(9)],
    'tcar_str_err': [code(0)],
  },
  'Files': {
    'GetTempPathA': [nothing(3)],
    'freopen': [nothing(5)],
    '_fileno': [{value: 0xFFFFFFFF, label: '-1', error: 0, way: 'instead'}],
    '_get_osfhandle': [{value: -1, label: '-1', error: 6, way: 'instead'}],
    'WriteFile': [nothing(112)],
    'setvbuf': [code(1)],
    'getenv': [nothing(0)],
    'CreateDirectoryA': [nothing(5)],
    '_fsopen': [nothing(5)],
    'fread': [nothing(5)],
    'fwrite': [nothing(112)],
    'fclose': [after(code(-1))],
    'fputs': [after(code(-1))],
    'fflush': [after(code(-1))],
    'fgets': [nothing(109)],
  },
  'Threads, timers and the process': {
    'SetConsoleCtrlHandler': [nothing(8)],
    'GetModuleHandleW': [nothing(126)],
    '_beginthreadex': [nothing(8)],
    'CreateEventA': [nothing(8)],
    'CreateSemaphoreA': [nothing(8)],
    'CreateWaitableTimerExW': [nothing(87)],
    'FlsAlloc': [{value: 0xFFFFFFFF, label: '-1', error: 8, way: 'instead'}],
    'FlsSetValue': [nothing(87)],
    'SetWaitableTimer': [nothing(87)],
    'timeBeginPeriod': [code(97)],
    'SetThreadPriority': [nothing(5)],
  },
};

const kCannotFail = 'cannot fail by its contract';
const kOwnHandle = 'fails only for a handle that is not the process’s own';
const kGivesBack = 'gives back; a refusal would leave nothing to do';
const kNoMemoryLeft = 'without memory for its small needs the process ends, as the C++ run-time library has it';
const kFrames = 'no function, or one that looks at its caller’s frame or does not return: not counted either';
const kRunTime = 'the C and C++ run-time libraries’ own, outside of any decision of the host’s';

/** Calls that the sweep leaves as they are, by the reason. */
export const kLeft = {
  [kFrames]: [
    '_acmdln', '_commode', '_fmode', '__initenv', '_setjmp', 'longjmp', 'RaiseException', 'RtlCaptureContext',
    'RtlLookupFunctionEntry', 'RtlUnwindEx', 'RtlVirtualUnwind', '__C_specific_handler', 'GetThreadContext', 'SetThreadContext',
    '_amsg_exit', 'abort', 'exit', '_cexit', '_endthreadex',
  ],
  [kCannotFail]: [
    'ID3D11DeviceContext::CopyResource', 'ID3D11DeviceContext::Unmap', 'ID3D11Texture2D::GetDesc', 'CoTaskMemFree',
    'CoUninitialize', 'DefWindowProcW', 'DispatchMessageW', 'TranslateMessage', 'PostQuitMessage', 'GetWindowLongPtrW',
    'SetWindowLongPtrW', 'QueryPerformanceCounter', 'QueryPerformanceFrequency', 'GetSystemTimeAsFileTime', 'Sleep',
    'GetTickCount64', 'GetLastError', 'SetLastError', 'EnterCriticalSection', 'LeaveCriticalSection', 'TryEnterCriticalSection',
    'InitializeCriticalSection', 'DeleteCriticalSection', 'GetCurrentProcess', 'GetCurrentProcessId', 'GetCurrentThread',
    'GetCurrentThreadId', 'WakeByAddressAll', 'tcar_global_cleanup', 'tcar_session_destroy', 'TerminateProcess',
    'IsDBCSLeadByteEx', 'IsDebuggerPresent', 'OutputDebugStringA', 'GetStartupInfoA', 'SetUnhandledExceptionFilter',
    'WaitOnAddress', 'FlsGetValue', 'NtDelayExecution',
  ],
  [kOwnHandle]: [
    'WaitForSingleObject', 'WaitForMultipleObjects', 'SetEvent', 'ResetEvent', 'ReleaseSemaphore', 'ResumeThread', 'SuspendThread',
    'GetThreadPriority', 'GetHandleInformation', 'DuplicateHandle', 'OpenProcess', 'GetProcessAffinityMask', 'SetProcessAffinityMask',
    'GetProcessTimes', 'GetThreadTimes', 'GetModuleHandleA', 'GetModuleHandleExW',
  ],
  [kGivesBack]: ['CloseHandle', 'FreeLibrary', 'GlobalFree', 'GlobalUnlock', 'LocalFree'],
  [kNoMemoryLeft]: ['malloc', 'calloc', 'realloc', 'free', '_strdup', 'TlsAlloc', 'TlsGetValue', 'TlsSetValue'],
  [kRunTime]: [
    'memchr', 'memcmp', 'memcpy', 'memmove', 'memset', 'strcmp', 'strlen', 'strncmp', 'strstr', 'wcslen', 'strerror', 'atoi',
    '_atoi64', '_ultoa', 'localeconv', '___lc_codepage_func', '___mb_cur_max_func', '_errno', '__iob_func', '__getmainargs',
    '__set_app_type', '__setusermatherr', '_initterm', '_onexit', 'signal', 'printf', 'fprintf', 'vfprintf', 'fputc', '_read',
    '_close', 'VirtualProtect', 'VirtualQuery', 'FormatMessageA', 'FileTimeToSystemTime', 'GetSystemTimeAdjustment',
    'SetSystemTime', 'AddVectoredExceptionHandler', 'RemoveVectoredExceptionHandler', 'CryptAcquireContextA', 'CryptGenRandom',
    'CryptReleaseContext',
  ],
};

const left = new Set(Object.values(kLeft).flat());
const failing = new Map(Object.entries(kFailing).flatMap(
    ([group, calls]) => Object.entries(calls).map(([call, faults]) => [call, {group, faults}])));

/** {group, faults} of a call; null for one that is left as it is; undefined for one not listed. */
export function callOf(name) {
  if (failing.has(name)) return failing.get(name);
  const counts = left.has(name) || /::(AddRef|Release)$/.test(name);
  return counts ? null : undefined;
}

/** Every call of the table with its group. */
export const failingCalls = () => [...failing].map(([call, {group}]) => ({call, group}));

/** What a transform like a graphics card's is asked, and software is not, or answers otherwise. */
export const kFaultsInHardware = [
  'D3D11CreateDevice', 'ID3D10Multithread::SetMultithreadProtected', 'MFCreateDXGIDeviceManager',
  'IMFDXGIDeviceManager::ResetDevice', 'MFTEnumEx', 'IMFActivate::ActivateObject',
  'IMFTransform::ProcessMessage', 'IMFTransform::ProcessInput', 'IMFTransform::ProcessOutput',
  'IMFTransform::SetOutputType', 'IMFMediaEventGenerator::GetEvent', 'IMFMediaEvent::GetType',
];
