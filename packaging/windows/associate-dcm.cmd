@echo off
rem For the user who runs it, and nobody else: files named .dcm open in the player of this folder, and programs that
rem build their graph by file name find the filter for them. What stood there before is kept and put back.
rem
rem     associate-dcm.cmd [/undo]
rem
rem Ends with 0 when done, 1 when something could not be written, 2 for a wrong call.
setlocal
set "classes=HKCU\Software\Classes"
set "memory=HKCU\Software\Talv Systems, Inc.\Player\Before"
set "extension=%classes%\Media Type\Extensions\.dcm"
set "class=TalvDicomReader.Clip"
set "reader={E2B7DDB8-38C5-11D5-91F6-00104BDB8FF9}"
set failed=0

set folder=x86
if /i "%PROCESSOR_ARCHITECTURE%"=="AMD64" set folder=x64
if not "%PROCESSOR_ARCHITEW6432%"=="" set folder=x64
set views=32
if "%folder%"=="x64" set views=32 64

if "%~1"=="" goto associate
if /i "%~1"=="/undo" goto undo
echo usage: associate-dcm.cmd [/undo]
exit /b 2

:associate
if not exist "%~dp0%folder%\dicplay.exe" (
    echo %~dp0%folder%\dicplay.exe is missing.
    exit /b 1
)
rem A second run must not take this player for what stood there before.
reg query "%memory%" >nul 2>&1
if errorlevel 1 call :remember
reg add "%classes%\%class%" /ve /d "DICOM clip" /f >nul
if errorlevel 1 set failed=1
reg add "%classes%\%class%\shell\open\command" /ve /d "\"%~dp0%folder%\dicplay.exe\" \"%%1\"" /f >nul
if errorlevel 1 set failed=1
reg add "%classes%\.dcm" /ve /d "%class%" /f >nul
if errorlevel 1 set failed=1
for %%v in (%views%) do call :write_filter %%v
if "%failed%"=="0" echo Files named .dcm now open in the player. "associate-dcm.cmd /undo" puts back what was before.
if not "%failed%"=="0" echo Not everything could be written.
exit /b %failed%

:write_filter
reg add "%extension%" /v "Source Filter" /d "%reader%" /f /reg:%1 >nul
if errorlevel 1 set failed=1
reg add "%extension%" /v "Media Type" /d "{73646976-0000-0010-8000-00AA00389B71}" /f /reg:%1 >nul
if errorlevel 1 set failed=1
reg add "%extension%" /v "Subtype" /d "{00000000-0000-0000-0000-000000000000}" /f /reg:%1 >nul
if errorlevel 1 set failed=1
exit /b 0

rem No value in the key stands for "there was none".
:remember
reg add "%memory%" /f >nul
if errorlevel 1 set failed=1
set before=
for /f "tokens=2,*" %%a in ('reg query "%classes%\.dcm" /ve 2^>nul ^| find "REG_SZ"') do set "before=%%b"
if "%before%"=="" exit /b 0
reg add "%memory%" /v ".dcm" /d "%before%" /f >nul
if errorlevel 1 set failed=1
exit /b 0

:undo
reg query "%memory%" >nul 2>&1
if errorlevel 1 (
    echo There is nothing to undo.
    exit /b 0
)
set before=
for /f "tokens=2,*" %%a in ('reg query "%memory%" /v ".dcm" 2^>nul ^| find "REG_SZ"') do set "before=%%b"
if "%before%"=="" (
    reg delete "%classes%\.dcm" /ve /f >nul 2>&1
    call :drop_if_empty "%classes%\.dcm"
) else (
    reg add "%classes%\.dcm" /ve /d "%before%" /f >nul
    if errorlevel 1 set failed=1
)
reg delete "%classes%\%class%" /f >nul 2>&1
for %%v in (%views%) do (
    reg delete "%extension%" /f /reg:%%v >nul 2>&1
    call :drop_if_empty "%classes%\Media Type\Extensions" %%v
    call :drop_if_empty "%classes%\Media Type" %%v
)
reg delete "%memory%" /f >nul 2>&1
call :drop_if_empty "HKCU\Software\Talv Systems, Inc.\Player"
call :drop_if_empty "HKCU\Software\Talv Systems, Inc."
if "%failed%"=="0" echo Files named .dcm open as they did before.
exit /b %failed%

rem :drop_if_empty KEY [VIEW]
:drop_if_empty
set view=
if not "%~2"=="" set view=/reg:%2
set found=
for /f "delims=" %%l in ('reg query %1 %view% 2^>nul') do set found=yes
if "%found%"=="" reg delete %1 /f %view% >nul 2>&1
exit /b 0
