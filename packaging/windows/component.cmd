@echo off
rem Registers the server files of this folder with Windows, or removes them again: the 32-bit ones with the 32-bit
rem regsvr32, the 64-bit ones with the 64-bit one. Called by register.cmd and unregister.cmd.
rem
rem     component.cmd register|unregister [/quiet] [/keep-settings]
rem
rem Ends with 0 when all went well, 1 when a file failed, 2 for a wrong call, 5 without the rights of an administrator.
setlocal

set "here=%~dp0"
set "verb=%~1"
set quiet=
set keep=
set elevated=
:options
shift
if "%~1"=="" goto checked
if /i "%~1"=="/quiet" set quiet=/quiet
if /i "%~1"=="/keep-settings" set keep=/keep-settings
if /i "%~1"=="/elevated" set elevated=yes
goto options

:checked
if /i "%verb%"=="register" goto rights
if /i "%verb%"=="unregister" goto rights
echo usage: component.cmd register^|unregister [/quiet] [/keep-settings]
exit /b 2

rem Only an administrator may write below HKEY_LOCAL_MACHINE: trying is the one test that never lies.
:rights
reg add "HKLM\SOFTWARE\TalvSetupProbe" /f >nul 2>&1
if errorlevel 1 goto elevate
reg delete "HKLM\SOFTWARE\TalvSetupProbe" /f >nul 2>&1

rem A 32-bit command prompt sees the 64-bit system folder under another name.
set "system64=%SystemRoot%\System32"
set "system32=%SystemRoot%\System32"
set wide=
if /i "%PROCESSOR_ARCHITECTURE%"=="AMD64" set wide=yes
if not "%PROCESSOR_ARCHITEW6432%"=="" set wide=yes
if not "%PROCESSOR_ARCHITEW6432%"=="" set "system64=%SystemRoot%\Sysnative"
if "%wide%"=="yes" set "system32=%SystemRoot%\SysWOW64"

set failed=0
if /i "%verb%"=="unregister" goto unregister
call :run x86 TVDicRd2.ax "%system32%"
call :run x86 TVGreyDisplay.ax "%system32%"
if "%wide%"=="yes" call :run x64 TVDicRd2.ax "%system64%"
if "%wide%"=="yes" call :run x64 TVGreyDisplay.ax "%system64%"
goto summary

:unregister
if "%wide%"=="yes" call :run x64 TVGreyDisplay.ax "%system64%"
if "%wide%"=="yes" call :run x64 TVDicRd2.ax "%system64%"
call :run x86 TVGreyDisplay.ax "%system32%"
call :run x86 TVDicRd2.ax "%system32%"
if "%keep%"=="" call :forget

:summary
if "%failed%"=="0" echo Done: all files were %verb%ed.
if not "%failed%"=="0" echo Not all files could be %verb%ed; see above.
if "%elevated%%quiet%"=="yes" pause
exit /b %failed%

rem :run FOLDER FILE SYSTEMFOLDER
:run
set undo=
if /i "%verb%"=="unregister" set undo=/u
if not exist "%here%%~1\%~2" (
    echo   missing  %~1\%~2
    set failed=1
    exit /b 0
)
if not exist "%~3\regsvr32.exe" (
    echo   skipped  %~1\%~2: this Windows does not run %~1 programs
    exit /b 0
)
"%~3\regsvr32.exe" /s %undo% "%here%%~1\%~2"
if errorlevel 1 (
    echo   FAILED   %~1\%~2: regsvr32 ended with an error
    set failed=1
    exit /b 0
)
echo   %verb%ed  %~1\%~2
exit /b 0

rem The settings of both bitnesses, and the maker's key where nothing else lives in it.
:forget
for %%v in (32 64) do call :forget_view %%v
exit /b 0

:forget_view
if "%1"=="64" if not "%wide%"=="yes" exit /b 0
reg delete "HKLM\SOFTWARE\Talv Systems, Inc.\DShow\Filters\TVDicRd2" /f /reg:%1 >nul 2>&1
call :drop_if_empty "HKLM\SOFTWARE\Talv Systems, Inc.\DShow\Filters" %1
call :drop_if_empty "HKLM\SOFTWARE\Talv Systems, Inc.\DShow" %1
call :drop_if_empty "HKLM\SOFTWARE\Talv Systems, Inc." %1
exit /b 0

rem A key that holds nothing is listed without a line.
:drop_if_empty
set found=
for /f "delims=" %%l in ('reg query %1 /reg:%2 2^>nul') do set found=yes
if "%found%"=="" reg delete %1 /f /reg:%2 >nul 2>&1
exit /b 0

:elevate
if "%elevated%"=="yes" goto refused
if not "%quiet%"=="" goto refused
echo The rights of an administrator are needed; Windows will ask for them.
set "TALV_SCRIPT=%~f0"
set "TALV_OPTIONS=%verb% %keep% /elevated"
powershell -NoProfile -Command "try { $p = Start-Process $env:ComSpec -ArgumentList ('/c \"\"' + $env:TALV_SCRIPT + '\" ' + $env:TALV_OPTIONS + '\"') -Verb RunAs -Wait -PassThru; exit $p.ExitCode } catch { exit 5 }"
set code=%errorlevel%
if "%code%"=="0" echo Done: all files were %verb%ed.
if "%code%"=="5" goto refused
if not "%code%"=="0" echo Not all files could be %verb%ed.
exit /b %code%

:refused
echo Nothing was changed: the rights of an administrator are needed.
exit /b 5
