@echo off
rem Registers the filters of this folder for 32- and 64-bit programs. Leave the folder where it is afterwards.
rem     register.cmd [/quiet]
call "%~dp0component.cmd" register %*
exit /b %errorlevel%
