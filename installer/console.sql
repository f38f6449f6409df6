-- As tables.sql, for packages with the console program.
UPDATE `File` SET `Version`='@CONSOLE_VERSION@', `Language`='1033,1049' WHERE `File`='vestractl.exe'
DELETE FROM `MsiFileHash` WHERE `File_`='vestractl.exe'
UPDATE `Feature` SET `Attributes`=8 WHERE `Feature`='Console'

-- "=-*": set on installation, remove on removal, of the machine. "[~];": after what is there.
CREATE TABLE `Environment` (`Environment` CHAR(72) NOT NULL, `Name` CHAR(255) NOT NULL LOCALIZABLE, `Value` CHAR(255) LOCALIZABLE, `Component_` CHAR(72) NOT NULL PRIMARY KEY `Environment`)
INSERT INTO `Environment` (`Environment`, `Name`, `Value`, `Component_`) VALUES ('Path', '=-*PATH', '[~];[INSTALLFOLDER]', 'Console')
INSERT INTO `InstallExecuteSequence` (`Action`, `Sequence`) VALUES ('RemoveEnvironmentStrings', 3300)
INSERT INTO `InstallExecuteSequence` (`Action`, `Sequence`) VALUES ('WriteEnvironmentStrings', 5200)
