-- What wixl cannot express, one statement a line. tools/package.sh replaces @NAMES@.

-- A failed upgrade restores the older version: it is removed within the transaction, which begins at 1500.
UPDATE `InstallExecuteSequence` SET `Sequence`=1501 WHERE `Action`='RemoveExistingProducts'

-- Without its version here, the installer would take the module on the disk for the newer one. A versioned file has no hash.
UPDATE `File` SET `Version`='@MODULE_VERSION@', `Language`='1033,1049' WHERE `File`='vestra.cpl'
DELETE FROM `MsiFileHash` WHERE `File_`='vestra.cpl'

-- 16: the panel's feature cannot be left out; 8: it cannot be advertised.
UPDATE `Feature` SET `Attributes`=24 WHERE `Feature`='Panel'

-- Name and tip of the short cut in the user's language.
UPDATE `Shortcut` SET `DisplayResourceDLL`='[#vestra.cpl]', `DisplayResourceId`=104, `DescriptionResourceDLL`='[#vestra.cpl]', `DescriptionResourceId`=105 WHERE `Shortcut`='StartMenu'

-- The only text of the package itself; everything else that is shown comes from the system or the module.
UPDATE `LaunchCondition` SET `Description`='A newer version of Vestra CSP is installed. Remove it first if you need version @VERSION@.  Установлена более новая версия Vestra CSP. Если нужна версия @VERSION@, сначала удалите новую.' WHERE `Condition`='NOT WIX_DOWNGRADE_DETECTED'
