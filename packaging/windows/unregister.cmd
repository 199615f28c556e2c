@echo off
rem Removes what register.cmd wrote, and the filter's settings unless told to keep them.
rem     unregister.cmd [/quiet] [/keep-settings]
call "%~dp0component.cmd" unregister %*
exit /b %errorlevel%
